#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace zelto {

// The files of one connection that its other side was told of and has not taken yet, as far as can be seen.
// THREAD: any.
class DeliveredFiles {
 public:
  void add(std::string path);
  // The other side is gone: what it has not taken nobody will.
  void removeAll();

 private:
  std::mutex mutex_;
  std::vector<std::string> paths_;
  std::size_t lookAt_ = 64;  // so many are looked through for those that were taken
};

}  // namespace zelto
