#include "framework/volume/NoticeAnswers.h"

#include <cerrno>

#include <sys/stat.h>

namespace zelto {
namespace {

using Kind = Notice::Kind;

// For what is gone and is to be removed once more: a node that stands for nothing and is never looked at.
constexpr Inode kPhantom = (Inode{1} << kernelnode::kInodeBits) - 1;

bool isOurs(fuse_req_t request) {
  return volume::of(request).notices().expected().isFrom(fuse_req_ctx(request)->pid);
}

Notice expected(fuse_req_t request) {
  return volume::of(request).notices().expected().current().value_or(Notice{});
}

// The entries of the kernel that we answer with here are not kept: others are to ask for themselves.
void replyPhantom(fuse_req_t request, NodeKind kind) {
  static std::atomic<std::uint32_t> next = 0;
  constexpr double kWhileItIsUsed = 60;  // seconds
  const Volume& volume = volume::of(request);
  NodeInfo info{.inode = kPhantom, .kind = kind, .contentEpoch = next++};
  info.flags = NSFileProviderFileSystemFlags::userReadable | NSFileProviderFileSystemFlags::userWritable |
               NSFileProviderFileSystemFlags::userExecutable;
  info.capabilities = NSFileProviderItemCapabilities::allowsWriting;
  fuse_entry_param entry = volume.entry(info);
  entry.attr_timeout = kWhileItIsUsed;
  entry.entry_timeout = 0;
  fuse_reply_entry(request, &entry);
}

// Somebody else's rule for the same: from the replica, but nothing is asked of anybody.
void replyFromReplica(fuse_req_t request, const Place& place) {
  Volume& volume = volume::of(request);
  const Replica::LookupResult known = volume.replica().lookup(place.folder, place.name);
  if (known.presence != Replica::Presence::found) {
    fuse_reply_err(request, known.presence == Replica::Presence::absent ? ENOENT : EIO);
    return;
  }
  volume.told(known.node);
  const fuse_entry_param entry = volume.entry(known.node);
  fuse_reply_entry(request, &entry);
}

bool stands(Volume& volume, const Place& place, Inode inode) {
  const Replica::LookupResult known = volume.replica().lookup(place.folder, place.name);
  return known.presence == Replica::Presence::found && known.node.inode == inode;
}

// What is moved or removed has to be the node that stands for nothing. If the kernel has not asked for the
// name just now, it may know something new by it already, which would go; told ESTALE it asks, and tries
// again.
bool isPhantomThere(fuse_req_t request) { return volume::of(request).notices().expected().isMet(); }

void reply(fuse_req_t request, bool agreed) { fuse_reply_err(request, agreed ? 0 : ESTALE); }

}  // namespace

bool notice::lookup(fuse_req_t request, Inode parent, std::string_view name) {
  if (!isOurs(request)) return false;
  const Notice now = expected(request);
  const Place place{parent, std::string(name)};
  if (now.kind == Kind::hello && place == now.place) {
    volume::of(request).notices().expected().meet();
    fuse_reply_err(request, ENOENT);
  } else if ((now.kind == Kind::gone && place == now.place) ||
             (now.kind == Kind::moved && place == now.from)) {
    volume::of(request).notices().expected().meet();
    replyPhantom(request, now.node);
  } else if ((now.kind == Kind::appeared || now.kind == Kind::moved) && place == now.place) {
    fuse_reply_err(request, ENOENT);
  } else {
    replyFromReplica(request, place);
  }
  return true;
}

// The kernel checks the folder's mode before it lets the thread through. Where the user may not write, the
// server does; this answer is for once, and whoever asks for the folder's mode is told the true one.
bool notice::getattr(fuse_req_t request, fuse_ino_t node) {
  if (!isOurs(request)) return false;
  Volume& volume = volume::of(request);
  const auto info = volume.replica().node(kernelnode::inodeOf(node));
  if (!kernelnode::isCurrent(node, info)) {
    fuse_reply_err(request, ESTALE);
    return true;
  }
  struct stat attributes = volume.attributes(*info);
  const bool lent = info->kind == NodeKind::folder && (attributes.st_mode & S_IWUSR) == 0;
  if (lent) attributes.st_mode |= S_IWUSR;
  fuse_reply_attr(request, &attributes, lent ? 0 : Volume::kKernelCacheSeconds);
  return true;
}

bool notice::make(fuse_req_t request, Inode parent, std::string_view name) {
  if (!isOurs(request)) return false;
  Volume& volume = volume::of(request);
  const Notice now = expected(request);
  const Place place{parent, std::string(name)};
  if (now.kind != Kind::appeared || now.place != place) {
    fuse_reply_err(request, ESTALE);
    return true;
  }
  const auto node = volume.replica().node(now.inode);
  if (!node || node->kind != now.node || !stands(volume, place, now.inode)) {
    // It has gone again meanwhile, and that will be told: whoever hears of it is to have heard of this, too.
    replyPhantom(request, now.node);
    return true;
  }
  volume.told(*node);
  const fuse_entry_param entry = volume.entry(*node);
  fuse_reply_entry(request, &entry);
  return true;
}

bool notice::remove(fuse_req_t request, Inode parent, std::string_view name) {
  if (!isOurs(request)) return false;
  const Notice now = expected(request);
  const Place place{parent, std::string(name)};
  reply(request, now.kind == Kind::gone && isPhantomThere(request) && now.place == place &&
                     !stands(volume::of(request), place, now.inode));
  return true;
}

bool notice::rename(fuse_req_t request, const Place& from, const Place& to) {
  if (!isOurs(request)) return false;
  Volume& volume = volume::of(request);
  const Notice now = expected(request);
  reply(request, now.kind == Kind::moved && isPhantomThere(request) && now.from == from && now.place == to &&
                     stands(volume, to, now.inode) && !stands(volume, from, now.inode));
  return true;
}

bool notice::setattr(fuse_req_t request, fuse_ino_t node) {
  if (!isOurs(request)) return false;
  const Notice now = expected(request);
  const bool touches = now.kind == Kind::content || now.kind == Kind::attributes;
  if (touches && kernelnode::inodeOf(node) == now.inode) {
    volume::replyAttributes(request, node);
  } else {
    fuse_reply_err(request, ESTALE);
  }
  return true;
}

}  // namespace zelto
