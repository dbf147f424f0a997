#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "framework/replica/Node.h"
#include "framework/requests/Deadlines.h"

namespace zelto {

// Gathers the folders in which something is another than before, and tells of them now and then.
// THREAD: any. OWNER: by shared pointer, since the timer may come late.
class ChangedFolders : public std::enable_shared_from_this<ChangedFolders> {
 public:
  // `tell` is called at most ten times a second, from the deadlines' thread, with no lock held. Of more than
  // a thousand folders only the root is told, which stands for everything.
  using Tell = std::function<void(std::vector<Inode> folders)>;
  static std::shared_ptr<ChangedFolders> make(Deadlines& deadlines, Tell tell);
  ChangedFolders(Deadlines& deadlines, Tell tell) : deadlines_(deadlines), tell_(std::move(tell)) {}

  void add(const std::vector<Inode>& folders);

 private:
  void tellNow();

  Deadlines& deadlines_;
  const Tell tell_;
  std::mutex mutex_;
  std::unordered_set<Inode> folders_;
  bool scheduled_ = false;
};

}  // namespace zelto
