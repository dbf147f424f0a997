#include <cerrno>

#include <sys/stat.h>

#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"

namespace zelto {

using Fields = NSFileProviderItemFields;

void UploadRun::start() {
  look(step_.identifier, [this](const Look& now) { looked(now); });
}

void UploadRun::looked(const Look& now) {
  if (now.what == Look::What::unknown) return fail(now.error);
  if (now.what == Look::What::gone) return serverLost(step_.node.inode);
  if (isVersionOfStep(now.item)) return send();
  if (isSentBefore(now.item)) {
    // It was ours, whose answer was lost; there may be newer bytes by now.
    if (!exportContent()) return;
    return isAsSent() ? settle(now.item) : send();
  }
  if (now.item->documentSize() != static_cast<std::int64_t>(step_.node.size)) return keepBoth(now.item);
  compare(step_.identifier, [this](const Comparison& comparison) { compared(comparison); });
}

void UploadRun::compared(const Comparison& comparison) {
  if (comparison.error) {
    return errnoForError(*comparison.error) == ENOENT ? serverLost(step_.node.inode) : fail(comparison.error);
  }
  comparison.same ? settle(comparison.item) : keepBoth(comparison.item);
}

// Whether the file still is what was sent before. REQUIRES: exported just now.
bool UploadRun::isAsSent() const {
  const auto node = parts_->replica.node(step_.node.inode);
  return node && node->size == sentBefore_->size && node->modifiedNs == sentBefore_->modifiedNs;
}

void UploadRun::send() {
  if (!exportContent()) return;
  struct stat status {};
  ::stat(exported()->path().c_str(), &status);
  sent_ = SentContent{static_cast<std::uint64_t>(status.st_size), step_.node.modifiedNs};
  auto handler = expect<NSFileProviderItemPtr, Fields, bool, std::optional<NSError>>(
      [this](const NSFileProviderItemPtr& item, Fields, bool, const std::optional<NSError>& error) {
        sent(item, error);
      });
  // The date goes with the bytes; naming it among the fields would cost a listing of the folder.
  follow(parts_->extension.modifyItem(templateItem(), step_.version, Fields::contents, exported(),
                                      NSFileProviderModifyItemOptions::none, {}, std::move(handler)));
}

void UploadRun::sent(const NSFileProviderItemPtr& item, const std::optional<NSError>& error) {
  if (!error) return settle(item);
  errnoForError(*error) == ENOENT ? serverLost(step_.node.inode) : fail(error);
}

}  // namespace zelto
