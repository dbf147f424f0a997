#pragma once

#include <array>
#include <filesystem>
#include <string>

#include "platform/foundation/UniqueDescriptor.h"
#include "tests/system/exerciser/Action.h"

namespace zelto::test {

// A program at work below one folder: the same actions can be carried out on a disk and in the mount.
class Side {
 public:
  // `refusesLinks`: a hard link is taken back, and counts as refused.
  explicit Side(std::filesystem::path top, bool refusesLinks)
      : top_(std::move(top)), refusesLinks_(refusesLinks) {}

  static constexpr int kSlots = 4;

  // All that a program sees of it, in words.
  std::string perform(const Action& action);
  void closeAll() { handles_ = {}; }

 private:
  std::string onNames(const Action& action);
  std::string onFile(const Action& action);
  std::string byHandle(const Action& action);

  std::string write(const Action& action, int flags);
  std::string read(const Action& action);
  std::string writeMapped(const Action& action);
  std::string readMapped(const Action& action);
  std::string rename(const Action& action, unsigned flags);
  std::string link(const Action& action);
  std::string setDates(const Action& action);
  std::string setAttribute(const Action& action);
  std::string list(const Action& action);
  std::string stat(const Action& action);
  std::string open(const Action& action);

  std::string at(const std::string& path) const { return (top_ / path).string(); }
  UniqueDescriptor opened(const Action& action, int flags) const;
  int handle(const Action& action) const { return handles_.at(static_cast<std::size_t>(action.slot)).get(); }

  const std::filesystem::path top_;
  const bool refusesLinks_;
  std::array<UniqueDescriptor, kSlots> handles_;
};

// "errno N" in case of failure, with errno as it stands.
std::string told(long result);

}  // namespace zelto::test
