#include "framework/volume/Volume.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <unordered_set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/volume/KernelChannel.h"
#include "framework/volume/Permissions.h"
#include "framework/volume/StaleMount.h"

namespace zelto {
namespace {

constexpr int kWakeSignal = SIGUSR2;
// None of them ever waits for the host, so few are enough, and few stay warm; more are for the disk.
constexpr unsigned kThreads = 10;
constexpr unsigned kThreadsKept = 4;

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

const fuse_lowlevel_ops kOperations = [] {
  fuse_lowlevel_ops operations{};
  operations.init = volume::init;
  operations.lookup = volume::lookup;
  operations.forget = volume::forget;
  operations.forget_multi = volume::forgetMulti;
  operations.getattr = volume::getattr;
  operations.setattr = volume::setattr;
  operations.readlink = volume::readlink;
  operations.opendir = volume::opendir;
  operations.readdir = volume::readdir;
  operations.readdirplus = volume::readdirplus;
  operations.releasedir = volume::releasedir;
  operations.open = volume::open;
  operations.read = volume::read;
  operations.write_buf = volume::writeBuf;
  operations.fallocate = volume::fallocate;
  operations.copy_file_range = volume::copyFileRange;
  operations.flush = volume::flush;
  operations.fsync = volume::fsync;
  operations.fsyncdir = volume::fsyncdir;
  operations.release = volume::release;
  operations.create = volume::create;
  operations.mknod = volume::mknod;
  operations.mkdir = volume::mkdir;
  operations.symlink = volume::symlink;
  operations.link = volume::link;
  operations.unlink = volume::unlink;
  operations.rmdir = volume::rmdir;
  operations.rename = volume::rename;
  operations.statfs = volume::statfs;
  operations.getxattr = volume::getxattr;
  operations.listxattr = volume::listxattr;
  operations.setxattr = volume::setxattr;
  operations.removexattr = volume::removexattr;
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
      walkAhead_(parts.replica, parts.lister, parts.materialiser),
      notices_(parts.replica, mountPoint_,
               [this](std::function<void()> task) { notifier_->afterwards(std::move(task)); }) {}

Volume::~Volume() {
  if (session_ == nullptr) return;
  unmount();
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
  // Modes are checked by the kernel, from what we report; what the server allows, by us.
  const char* arguments[] = {"zelto", "-o", "fsname=zelto,subtype=zelto,default_permissions"};
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
  if (const int code = openKernelChannel(session_)) return errorWithPOSIXCode(code, "cannot use /dev/fuse");
  return std::nullopt;
}

int Volume::run() {
  notices_.begin();
  runner_ = ::pthread_self();
  struct sigaction wake {};
  wake.sa_handler = [](int) {};
  ::sigaction(kWakeSignal, &wake, nullptr);
  fuse_loop_config* config = fuse_loop_cfg_create();
  fuse_loop_cfg_set_clone_fd(config, 0);
  fuse_loop_cfg_set_max_threads(config, kThreads);
  fuse_loop_cfg_set_idle_threads(config, kThreadsKept);
  const int result = fuse_session_loop_mt(session_, config);
  fuse_loop_cfg_destroy(config);
  requests_.failAll(ENOTCONN);
  return result < 0 ? -result : 0;
}

// First what our own thread asks of the volume is answered, while there is somebody to answer it. It may wait
// for a folder that somebody's held request keeps locked.
void Volume::stop() {
  notices_.stop([this] { endLoop(); });
  requests_.failAll(ENOTCONN);
}

void Volume::endLoop() {
  fuse_session_exit(session_);
  // The loop sleeps until a thread of its ends or a signal comes.
  if (const pthread_t runner = runner_.load(); runner != 0) ::pthread_kill(runner, kWakeSignal);
}

void Volume::unmount() {
  notices_.stop([] {});
  notifier_->stop();
  fuse_session_unmount(session_);
}

struct stat Volume::attributes(const NodeInfo& node) const {
  struct stat attributes {};
  attributes.st_ino = node.inode;
  attributes.st_mode = modeOf(node);
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
  entry.ino = kernelnode::nodeOf(node);
  entry.attr = attributes(node);
  entry.attr_timeout = entry.entry_timeout = kKernelCacheSeconds;
  return entry;
}

void Volume::replicaChanged(const ReplicaDelta& delta) {
  std::unordered_set<Inode> folders;
  for (const ReplicaDelta::Name& gone : delta.removed) {
    notifier_->nameDeleted(gone.parent, kernelnode::nodeOf(gone.inode, gone.contentEpoch), gone.name);
    folders.insert(gone.parent);
  }
  for (const ReplicaDelta::Name& come : delta.added) {
    notifier_->forgetName(come.parent, come.name);
    folders.insert(come.parent);
  }
  for (const Inode inode : delta.contentChanged) {
    const auto node = replica().node(inode);
    if (node) notifier_->forgetName(node->parent, replica().name(inode));
  }
  for (const Inode inode : delta.metadataChanged) {
    if (const auto node = replica().node(inode)) notifier_->forgetAttributes(kernelnode::nodeOf(*node));
  }
  for (const Inode folder : folders) {
    folderCaches_.changed(folder);
    notifier_->forgetNode(folder);
  }
  notices_.replicaChanged(delta);
  for (const Inode folder : delta.toList) {
    lister().list(folder, std::make_shared<FunctionWaiter>([](int) {}));
  }
}

std::optional<std::string> Volume::stateOf(Inode inode) {
  if (!stateDescription_) return {};
  const auto node = replica().node(inode);
  return node ? stateDescription_(*node) : std::nullopt;
}

void Volume::keepForOpenHandles(const NodeInfo& node) {
  if (const auto open = openFiles_.find(kernelnode::nodeOf(node))) open->setNode(node);
}

bool Volume::isOwner(std::optional<uid_t> user, std::optional<gid_t> group) const {
  return user.value_or(owner_) == owner_ && group.value_or(group_) == group_;
}

std::uint64_t Volume::evict(const NodeInfo& node) {
  dropPages(node);
  return replica().evict(node.inode);
}

void Volume::dropPages(const NodeInfo& node) {
  if (node.kind == NodeKind::file && !replica().materialisedRanges(node.inode).empty()) {
    notifier_->forgetNode(kernelnode::nodeOf(node));
  }
  const auto children = node.listed ? replica().children(node.inode) : nullptr;
  if (!children) return;
  for (const Inode inode : *children) {
    if (const auto child = replica().node(inode)) dropPages(*child);
  }
}

}  // namespace zelto
