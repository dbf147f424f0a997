#include "framework/volume/Volume.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <unordered_set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/volume/StaleMount.h"

namespace zelto {
namespace {

constexpr int kWakeSignal = SIGUSR2;
// None of them ever waits for the host, so few are enough, and few stay warm.
constexpr unsigned kThreads = 4;

std::timespec timespecFor(std::int64_t nanoseconds) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  std::int64_t seconds = nanoseconds / kSecond;
  std::int64_t rest = nanoseconds % kSecond;
  if (rest < 0) {
    rest += kSecond;
    --seconds;
  }
  return {static_cast<std::time_t>(seconds), static_cast<long>(rest)};
}

mode_t permissions(const NodeInfo& node) {
  if (node.kind == NodeKind::symlink) return S_IFLNK | 0777;
  mode_t mode = node.kind == NodeKind::folder ? S_IFDIR : S_IFREG;
  using Flags = NSFileProviderFileSystemFlags;
  if (contains(node.flags, Flags::userReadable)) mode |= 0444;
  if (contains(node.flags, Flags::userExecutable)) mode |= 0111;
  if (contains(node.flags, Flags::userWritable) &&
      contains(node.capabilities, NSFileProviderItemCapabilities::allowsWriting)) {
    mode |= 0200;
  }
  return mode;
}

const fuse_lowlevel_ops kOperations = [] {
  fuse_lowlevel_ops operations{};
  operations.init = volume::init;
  operations.lookup = volume::lookup;
  operations.forget = volume::forget;
  operations.forget_multi = volume::forgetMulti;
  operations.getattr = volume::getattr;
  operations.readlink = volume::readlink;
  operations.opendir = volume::opendir;
  operations.readdir = volume::readdir;
  operations.readdirplus = volume::readdirplus;
  operations.releasedir = volume::releasedir;
  operations.open = volume::open;
  operations.read = volume::read;
  operations.release = volume::release;
  operations.statfs = volume::statfs;
  operations.getxattr = volume::getxattr;
  operations.listxattr = volume::listxattr;
  return operations;
}();

}  // namespace

Volume& volume::of(fuse_req_t request) { return *static_cast<Volume*>(fuse_req_userdata(request)); }

Volume::Volume(const Parts& parts, std::string mountPoint, std::chrono::milliseconds requestLimit)
    : parts_(parts),
      mountPoint_(std::move(mountPoint)),
      owner_(::getuid()),
      group_(::getgid()),
      requests_(parts.deadlines, requestLimit, [&link = parts.link] { return link.present(); }),
      walkAhead_(parts.replica, parts.lister, parts.materialiser) {}

Volume::~Volume() {
  if (session_ == nullptr) return;
  unmount();
  notifier_.reset();
  fuse_session_destroy(session_);
}

std::expected<std::unique_ptr<Volume>, NSError> Volume::mount(const Parts& parts,
                                                              const std::string& mountPoint,
                                                              std::chrono::milliseconds requestLimit) {
  clearStaleMount(mountPoint);
  std::unique_ptr<Volume> volume(new Volume(parts, mountPoint, requestLimit));
  if (auto error = volume->startSession()) return std::unexpected(std::move(*error));
  return volume;
}

std::optional<NSError> Volume::startSession() {
  // Read-only and with permissions checked by the kernel, from the modes that we report.
  const char* arguments[] = {"zelto", "-o", "fsname=zelto,subtype=zelto,default_permissions,ro"};
  fuse_args args = FUSE_ARGS_INIT(3, const_cast<char**>(arguments));
  session_ = fuse_session_new(&args, &kOperations, sizeof kOperations, this);
  fuse_opt_free_args(&args);
  if (session_ == nullptr) return errorWithPOSIXCode(EINVAL, "cannot make a FUSE session");
  errno = 0;
  if (fuse_session_mount(session_, mountPoint_.c_str()) != 0) {
    const int code = errno != 0 ? errno : EIO;
    fuse_session_destroy(std::exchange(session_, nullptr));
    return errorWithPOSIXCode(code,
                              "cannot mount at " + mountPoint_ +
                                  ": is /dev/fuse accessible, fuse3 installed and the directory yours?");
  }
  notifier_ = std::make_unique<KernelNotifier>(session_);
  return std::nullopt;
}

int Volume::run() {
  runner_ = ::pthread_self();
  struct sigaction wake {};
  wake.sa_handler = [](int) {};
  ::sigaction(kWakeSignal, &wake, nullptr);
  fuse_loop_config* config = fuse_loop_cfg_create();
  fuse_loop_cfg_set_clone_fd(config, 0);
  fuse_loop_cfg_set_max_threads(config, kThreads);
  fuse_loop_cfg_set_idle_threads(config, kThreads);
  const int result = fuse_session_loop_mt(session_, config);
  fuse_loop_cfg_destroy(config);
  requests_.failAll(ENOTCONN);
  return result < 0 ? -result : 0;
}

void Volume::stop() {
  fuse_session_exit(session_);
  // The loop sleeps until a thread of its ends or a signal comes.
  if (const pthread_t runner = runner_.load(); runner != 0) ::pthread_kill(runner, kWakeSignal);
}

void Volume::unmount() {
  notifier_->stop();
  fuse_session_unmount(session_);
}

struct stat Volume::attributes(const NodeInfo& node) const {
  struct stat attributes {};
  attributes.st_ino = node.inode;
  attributes.st_mode = permissions(node);
  // One, also for folders: programs that count a folder's subfolders by its links know that 1 tells nothing.
  attributes.st_nlink = 1;
  attributes.st_uid = owner_;
  attributes.st_gid = group_;
  attributes.st_size = static_cast<off_t>(node.size);
  attributes.st_blksize = 128 << 10;
  // As if all of it were here: a smaller count makes copying programs look for holes.
  attributes.st_blocks = static_cast<blkcnt_t>((node.size + 511) / 512);
  attributes.st_mtim = attributes.st_ctim = timespecFor(node.modifiedNs);
  attributes.st_atim = timespecFor(node.accessedNs);
  return attributes;
}

fuse_entry_param Volume::entry(const NodeInfo& node) const {
  fuse_entry_param entry{};
  entry.ino = epochs_.nodeFor(node.inode);
  entry.attr = attributes(node);
  entry.attr_timeout = entry.entry_timeout = kKernelCacheSeconds;
  return entry;
}

void Volume::replicaChanged(const ReplicaDelta& delta) {
  std::unordered_set<Inode> folders;
  for (const auto& [parent, inode, name] : delta.removed) {
    notifier_->nameDeleted(parent, epochs_.nodeFor(inode), name);
    folders.insert(parent);
  }
  for (const auto& [parent, inode, name] : delta.added) {
    notifier_->forgetName(parent, name);
    folders.insert(parent);
  }
  for (const Inode inode : delta.contentChanged) {
    const auto node = replica().node(inode);
    epochs_.advance(inode);
    if (node) notifier_->forgetName(node->parent, replica().name(inode));
  }
  for (const Inode inode : delta.metadataChanged) notifier_->forgetAttributes(epochs_.nodeFor(inode));
  for (const Inode folder : folders) notifier_->forgetNode(folder);
}

std::uint64_t Volume::evict(const NodeInfo& node) {
  dropPages(node);
  return replica().evict(node.inode);
}

void Volume::dropPages(const NodeInfo& node) {
  if (node.kind == NodeKind::file && !replica().materialisedRanges(node.inode).empty()) {
    notifier_->forgetNode(epochs_.nodeFor(node.inode));
  }
  const auto children = node.listed ? replica().children(node.inode) : nullptr;
  if (!children) return;
  for (const Inode inode : *children) {
    if (const auto child = replica().node(inode)) dropPages(*child);
  }
}

}  // namespace zelto
