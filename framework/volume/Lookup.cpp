#include <cerrno>
#include <span>
#include <string_view>

#include "framework/volume/NoticeAnswers.h"
#include "framework/volume/Volume.h"

namespace zelto {
namespace {

// Names that programs look for in every folder they come by; not worth a question to the host.
bool isProbedEverywhere(std::string_view name) {
  return name.starts_with(".Trash") || name == ".hidden" || name == ".directory" ||
         name == ".xdg-volume-info" || name == "autorun.inf";
}

void replyAbsent(fuse_req_t request) {
  fuse_entry_param absent{};
  absent.entry_timeout =
      Volume::kKernelCacheSeconds;  // a number of 0: the kernel remembers that there is none
  fuse_reply_entry(request, &absent);
}

// False when the replica cannot tell yet.
bool answerFromReplica(fuse_req_t request, Inode parent, std::string_view name) {
  Volume& volume = volume::of(request);
  const Replica::LookupResult result = volume.replica().lookup(parent, name);
  if (result.presence == Replica::Presence::unknown) return false;
  if (result.presence == Replica::Presence::absent) {
    replyAbsent(request);
    return true;
  }
  volume.told(result.node);
  const fuse_entry_param entry = volume.entry(result.node);
  fuse_reply_entry(request, &entry);
  return true;
}

}  // namespace

void volume::lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
  if (notice::lookup(request, parent, name)) return;
  Volume& volume = of(request);
  if (answerFromReplica(request, parent, name)) return volume.walkAhead().lookedUp(parent, false);
  if (isProbedEverywhere(name)) {
    fuse_reply_err(request, ENOENT);  // not remembered: the folder may have it once it is listed
    return;
  }
  const Inode folder = parent;
  volume.lister().list(
      folder, volume.kernelRequests().hold(request, [folder, wanted = std::string(name)](fuse_req_t held) {
        if (!answerFromReplica(held, folder, wanted)) fuse_reply_err(held, EIO);
      }));
  volume.walkAhead().lookedUp(folder, true);
}

void volume::forget(fuse_req_t request, fuse_ino_t node, std::uint64_t count) {
  of(request).notices().knownFolders().forgotten(node, count);
  fuse_reply_none(request);
}

void volume::forgetMulti(fuse_req_t request, std::size_t count, fuse_forget_data* forgets) {
  KnownFolders& folders = of(request).notices().knownFolders();
  for (const auto& [node, answers] : std::span(forgets, count)) folders.forgotten(node, answers);
  fuse_reply_none(request);
}

}  // namespace zelto
