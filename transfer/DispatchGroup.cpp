#include "transfer/DispatchGroup.h"

#include <atomic>
#include <utility>

namespace zelto {

namespace {

std::int64_t nextIdentifier() {
  static std::atomic<std::int64_t> next = 0;
  return next++;
}

}  // namespace

DispatchGroup::DispatchGroup() : identifier_(nextIdentifier()) {}

void DispatchGroup::enterWithLogId(const std::string&) { group_.enter(); }

void DispatchGroup::leaveWithLogId(const std::string&) { group_.leave(); }

void DispatchGroup::notifyOnMainThreadCallingBlock(std::move_only_function<void()> block) {
  group_.notify(DispatchQueue::mainQueue(), [block = std::move(block)]() mutable {
    if (block) block();
  });
}

}  // namespace zelto
