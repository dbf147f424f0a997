#include "framework/volume/KernelNotifier.h"

namespace zelto {

KernelNotifier::KernelNotifier(fuse_session* session)
    : session_(session), queue_("it.pellam.Zelto.FileProvider.notify") {}

void KernelNotifier::tell(std::move_only_function<void(fuse_session*)> what) {
  queue_.async([this, what = std::move(what)]() mutable {
    if (session_ != nullptr) what(session_);
  });
}

void KernelNotifier::stop() {
  queue_.async([this] { session_ = nullptr; });
  queue_.drain();
}

void KernelNotifier::afterwards(std::function<void()> task) {
  tell([task = std::move(task)](fuse_session*) { task(); });
}

void KernelNotifier::forgetName(std::uint64_t parent, std::string name) {
  tell([parent, name = std::move(name)](fuse_session* session) {
    fuse_lowlevel_notify_inval_entry(session, parent, name.data(), name.size());
  });
}

void KernelNotifier::nameDeleted(std::uint64_t parent, std::uint64_t child, std::string name) {
  tell([parent, child, name = std::move(name)](fuse_session* session) {
    // A folder that the kernel still sees children in cannot be deleted; forgetting its name does.
    if (fuse_lowlevel_notify_delete(session, parent, child, name.data(), name.size()) != 0) {
      fuse_lowlevel_notify_inval_entry(session, parent, name.data(), name.size());
    }
  });
}

void KernelNotifier::forgetAttributes(std::uint64_t node) {
  // A negative offset: the pages stay.
  tell([node](fuse_session* session) { fuse_lowlevel_notify_inval_inode(session, node, -1, 0); });
}

void KernelNotifier::forgetNode(std::uint64_t node) {
  tell([node](fuse_session* session) { fuse_lowlevel_notify_inval_inode(session, node, 0, 0); });
}

}  // namespace zelto
