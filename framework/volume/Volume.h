#pragma once

#include <atomic>
#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <pthread.h>

#include "framework/fetching/Materialiser.h"
#include "framework/listing/Lister.h"
#include "framework/notices/Notices.h"
#include "framework/replica/Replica.h"
#include "framework/volume/FolderCaches.h"
#include "framework/volume/FuseLowLevel.h"
#include "framework/volume/KernelNode.h"
#include "framework/volume/KernelNotifier.h"
#include "framework/volume/KernelRequest.h"
#include "framework/volume/OpenFiles.h"
#include "framework/walking/WalkAhead.h"

namespace zelto {

// The mounted volume of one domain: answers the kernel from the replica, and asks the lister and the
// materialiser for what is not there. What programs change goes into the replica, which brings it to the
// server later. Nothing here ever waits for the host: a request that needs it is held and answered later.
// The kernel forgets by itself what its own requests change; it is told of other changes only.
// One source file per operation (Lookup.cpp, Read.cpp, …).
// THREAD: `run` serves on threads of its own; everything else from any.
class Volume {
 public:
  struct Parts {
    Replica& replica;
    Lister& lister;
    Materialiser& materialiser;
    Deadlines& deadlines;
    HostLink& link;
  };

  // Mounts at a directory, after clearing away what a killed process left mounted there.
  // ERRORS: POSIX domain, with what to do in the description.
  static std::expected<std::unique_ptr<Volume>, NSError> mount(const Parts& parts,
                                                               const std::string& mountPoint,
                                                               std::chrono::milliseconds requestLimit);
  ~Volume();
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;

  const std::string& mountPoint() const { return mountPoint_; }

  // BLOCKS: until the volume is unmounted or told to end. Gives 0, or an errno value.
  int run();
  // Makes `run` return. THREAD: any.
  void stop();
  // After `run`. Everything may still be called by threads that are at work; the kernel hears of nothing
  // more. BLOCKS: until what the kernel was to be told has been told.
  void unmount();

  // Makes the kernel forget what a change of the replica made untrue, and then raises events for who watches.
  // Returns at once.
  void replicaChanged(const ReplicaDelta& delta);

  // Drops the local content of a file, or of every file below a folder, and the kernel's pages of it.
  // Gives the bytes freed in the replica.
  std::uint64_t evict(const NodeInfo& node);

  // What the extended attribute of a file's state says, if anything. REQUIRES: set before `run`; it may be
  // asked on any thread, and must not wait.
  using StateDescription = std::function<std::optional<std::string>(const NodeInfo&)>;
  void describeStateBy(StateDescription description) { stateDescription_ = std::move(description); }
  std::optional<std::string> stateOf(Inode inode);

  // Gives the host's picture of a file that is not all here, as a PNG file, to somebody who is about to make
  // one (see BackgroundReaders.h), by the caller's thread; nothing where there is none. It may take long, and
  // `done` be dropped at the end. REQUIRES: set before `run`; it is called while the program waits, and must
  // not wait for anything but the kernel.
  using PictureHandler = Completion<std::optional<std::string>>;
  using PictureSource = std::function<void(Inode, pid_t reader, PictureHandler done)>;
  void takePicturesFrom(PictureSource source) { pictureSource_ = std::move(source); }
  void fetchPicture(Inode inode, pid_t reader, PictureHandler done) {
    pictureSource_ ? pictureSource_(inode, reader, std::move(done)) : done(std::nullopt);
  }

  Replica& replica() { return parts_.replica; }
  Lister& lister() { return parts_.lister; }
  WalkAhead& walkAhead() { return walkAhead_; }
  Materialiser& materialiser() { return parts_.materialiser; }
  HostLink& link() { return parts_.link; }
  Deadlines& deadlines() { return parts_.deadlines; }
  KernelRequests& kernelRequests() { return requests_; }
  FolderCaches& folderCaches() { return folderCaches_; }
  OpenFiles& openFiles() { return openFiles_; }
  Notices& notices() { return notices_; }

  // The kernel is about to be given a node as an entry.
  void told(const NodeInfo& node) {
    if (node.kind == NodeKind::folder) notices_.knownFolders().told(node.inode);
  }

  // Called before a node loses its place: who has the file open still asks for its attributes afterwards.
  void keepForOpenHandles(const NodeInfo& node);
  // Whether what is given names the owner and the group that everything here has.
  bool isOwner(std::optional<uid_t> user, std::optional<gid_t> group) const;
  // True the first time only.
  bool isFirstAnswer() { return !answered_.exchange(true, std::memory_order_relaxed); }

  // The attributes that the kernel is told of a node.
  struct stat attributes(const NodeInfo& node) const;
  // A directory entry or look-up answer for a node, valid until we say otherwise.
  fuse_entry_param entry(const NodeInfo& node) const;

  // How long the kernel may keep what it was told; long, since we tell it of every change.
  static constexpr double kKernelCacheSeconds = 86400;

 private:
  Volume(const Parts& parts, std::string mountPoint, std::chrono::milliseconds requestLimit);

  std::optional<NSError> startSession();
  void endLoop();
  void dropPages(const NodeInfo& node);

  Parts parts_;
  const std::string mountPoint_;
  const uid_t owner_;
  const gid_t group_;
  KernelRequests requests_;
  FolderCaches folderCaches_;
  OpenFiles openFiles_;
  WalkAhead walkAhead_;
  StateDescription stateDescription_;
  PictureSource pictureSource_;
  std::atomic<bool> answered_ = false;
  std::atomic<pthread_t> runner_ = 0;
  fuse_session* session_ = nullptr;
  std::unique_ptr<KernelNotifier> notifier_;
  Notices notices_;
};

// The operations, as the FUSE library calls them.
namespace volume {

Volume& of(fuse_req_t request);

void init(void* userData, fuse_conn_info* connection);
void lookup(fuse_req_t request, fuse_ino_t parent, const char* name);
void forget(fuse_req_t request, fuse_ino_t node, std::uint64_t count);
void forgetMulti(fuse_req_t request, std::size_t count, fuse_forget_data* forgets);
void getattr(fuse_req_t request, fuse_ino_t node, fuse_file_info* file);
void setattr(fuse_req_t request, fuse_ino_t node, struct stat* attributes, int toSet, fuse_file_info* file);
void readlink(fuse_req_t request, fuse_ino_t node);
void opendir(fuse_req_t request, fuse_ino_t node, fuse_file_info* file);
void readdir(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset, fuse_file_info* file);
void readdirplus(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset, fuse_file_info* file);
void releasedir(fuse_req_t request, fuse_ino_t node, fuse_file_info* file);
void open(fuse_req_t request, fuse_ino_t node, fuse_file_info* file);
void read(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset, fuse_file_info* file);
void writeBuf(fuse_req_t request, fuse_ino_t node, fuse_bufvec* bytes, off_t offset, fuse_file_info* file);
void fallocate(fuse_req_t request, fuse_ino_t node, int mode, off_t offset, off_t length,
               fuse_file_info* file);
void copyFileRange(fuse_req_t request, fuse_ino_t node, off_t at, fuse_file_info* in, fuse_ino_t target,
                   off_t offset, fuse_file_info* out, std::size_t length, int flags);
void flush(fuse_req_t request, fuse_ino_t node, fuse_file_info* file);
void fsync(fuse_req_t request, fuse_ino_t node, int dataOnly, fuse_file_info* file);
void fsyncdir(fuse_req_t request, fuse_ino_t node, int dataOnly, fuse_file_info* file);
void release(fuse_req_t request, fuse_ino_t node, fuse_file_info* file);
void create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, fuse_file_info* file);
void mknod(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode, dev_t device);
void mkdir(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t mode);
void symlink(fuse_req_t request, const char* target, fuse_ino_t parent, const char* name);
void link(fuse_req_t request, fuse_ino_t node, fuse_ino_t newParent, const char* newName);
void unlink(fuse_req_t request, fuse_ino_t parent, const char* name);
void rmdir(fuse_req_t request, fuse_ino_t parent, const char* name);
void rename(fuse_req_t request, fuse_ino_t parent, const char* name, fuse_ino_t newParent,
            const char* newName, unsigned flags);
void statfs(fuse_req_t request, fuse_ino_t node);
void getxattr(fuse_req_t request, fuse_ino_t node, const char* name, std::size_t size);
void listxattr(fuse_req_t request, fuse_ino_t node, std::size_t size);
void setxattr(fuse_req_t request, fuse_ino_t node, const char* name, const char* value, std::size_t size,
              int flags);
void removexattr(fuse_req_t request, fuse_ino_t node, const char* name);

// Answers with the attributes that a node has now.
void replyAttributes(fuse_req_t request, fuse_ino_t node);

}  // namespace volume

}  // namespace zelto
