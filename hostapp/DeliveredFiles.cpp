#include "hostapp/DeliveredFiles.h"

#include <algorithm>
#include <utility>

#include <unistd.h>

namespace zelto {

void DeliveredFiles::add(std::string path) {
  constexpr std::size_t kFew = 64;
  const std::lock_guard lock(mutex_);
  paths_.push_back(std::move(path));
  if (paths_.size() < lookAt_) return;
  std::erase_if(paths_, [](const std::string& each) { return ::access(each.c_str(), F_OK) != 0; });
  lookAt_ = std::max(kFew, 2 * paths_.size());
}

void DeliveredFiles::removeAll() {
  std::vector<std::string> left;
  {
    const std::lock_guard lock(mutex_);
    left.swap(paths_);
  }
  for (const std::string& path : left) ::unlink(path.c_str());
}

}  // namespace zelto
