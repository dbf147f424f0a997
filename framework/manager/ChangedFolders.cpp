#include "framework/manager/ChangedFolders.h"

#include <utility>

namespace zelto {
namespace {

constexpr std::size_t kMostFoldersTold = 1000;
constexpr std::chrono::milliseconds kPause{100};

}  // namespace

std::shared_ptr<ChangedFolders> ChangedFolders::make(Deadlines& deadlines, Tell tell) {
  return std::make_shared<ChangedFolders>(deadlines, std::move(tell));
}

void ChangedFolders::add(const std::vector<Inode>& folders) {
  if (folders.empty()) return;
  {
    const std::lock_guard lock(mutex_);
    if (folders_.size() <= kMostFoldersTold) folders_.insert(folders.begin(), folders.end());
    if (std::exchange(scheduled_, true)) return;
  }
  deadlines_.schedule(Deadlines::Clock::now() + kPause, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->tellNow();
  });
}

void ChangedFolders::tellNow() {
  std::unordered_set<Inode> folders;
  {
    const std::lock_guard lock(mutex_);
    folders.swap(folders_);
    scheduled_ = false;
  }
  if (folders.size() > kMostFoldersTold) return tell_({kRootInode});
  tell_({folders.begin(), folders.end()});
}

}  // namespace zelto
