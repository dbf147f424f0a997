#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>

#include "framework/notices/KnownFolders.h"
#include "framework/notices/NoticeThread.h"
#include "framework/notices/PendingNotices.h"

namespace zelto {

// Lets programs that watch a folder hear of what the server changed in it, by the usual events. For that, the
// change is performed in the mount once more (see NoticeThread); nothing depends on it but the event.
// Told are only changes in folders that the kernel knows and that were listed before; whoever listed one
// since has seen it. Too much at once is not told. THREAD: any.
class Notices {
 public:
  // Runs a task after what the kernel is being told to forget; never beside it, since both may wait for a
  // folder's lock. Drops tasks at the volume's end.
  using Later = std::function<void(std::function<void()>)>;

  Notices(Replica& replica, std::string mountPoint, Later later);

  KnownFolders& knownFolders() { return folders_; }
  ExpectedNotice& expected() { return expected_; }

  // The volume serves from now on.
  void begin();
  // Returns at once.
  void replicaChanged(const ReplicaDelta& delta);
  // Raises nothing more; `then` runs once nothing is under way: at once, or soon on another thread.
  // REQUIRES: the volume serves until then.
  void stop(std::function<void()> then) { thread_.stop(std::move(then)); }

 private:
  using Moved = std::unordered_map<Inode, const ReplicaDelta::Name*>;

  void noteRemoved(const ReplicaDelta& delta, const Moved& moves);
  void noteMoved(const ReplicaDelta& delta, const Moved& moves);
  void noteAdded(const ReplicaDelta& delta, const Moved& moves);
  void noteChanged(const std::vector<Inode>& inodes, bool content);
  bool isFull();
  Moved movesOf(const ReplicaDelta& delta);

  void schedule();
  void turn();
  std::optional<std::string> pathOf(Inode folder);

  Replica& replica_;
  const std::string mountPoint_;
  const Later later_;
  KnownFolders folders_;
  ExpectedNotice expected_;
  std::mutex mutex_;  // guards what is below
  bool serving_ = false;
  bool scheduled_ = false;
  PendingNotices pending_;
  NoticeThread thread_;  // has a lock of its own, taken without the one above
};

}  // namespace zelto
