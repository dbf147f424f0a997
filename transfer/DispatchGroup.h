#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/foundation/TaskGroup.h"

namespace zelto {

// A group of requests under way, with a number for the log. One that is destroyed with requests still
// unanswered drops what was to run at their end.
// THREAD: any.
class DispatchGroup {
 public:
  DispatchGroup();

  // Counted from 0 in the order of creation.
  std::int64_t identifier() const { return identifier_; }
  TaskGroup& group() { return group_; }

  // The log id only says, to who reads the code, which request it is.
  void enterWithLogId(const std::string& logId);
  void leaveWithLogId(const std::string& logId);
  // Runs the block, if there is one, on the main queue once every request has left.
  void notifyOnMainThreadCallingBlock(std::move_only_function<void()> block);

 private:
  const std::int64_t identifier_;
  TaskGroup group_;
};

}  // namespace zelto
