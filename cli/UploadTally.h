#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/foundation/PropertyList.h"

namespace zelto::cli {

// How far the local changes are that somebody waits for: what there was to send when the wait began, and what
// has been told since.
class UploadTally {
 public:
  // `changes`: as the manager's Pending tells them. What has failed, or stays local, is not waited for.
  explicit UploadTally(const NSArray& changes);

  // The signals of the manager.
  void countsChanged(std::uint64_t pending, std::uint64_t uploading);
  void uploaded(const std::string& path, std::uint64_t completed, std::uint64_t total);

  std::uint64_t left() const { return left_; }
  // The most that there were to wait for at once.
  std::uint64_t all() const { return all_; }
  // "12 left, 3.0 MiB of 8.0 MiB sent"
  std::string text() const;

 private:
  struct Bytes {
    std::uint64_t completed = 0, total = 0;
  };

  std::uint64_t left_ = 0, all_ = 0;
  std::map<std::string, Bytes> uploads_;
};

}  // namespace zelto::cli
