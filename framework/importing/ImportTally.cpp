#include "framework/importing/ImportTally.h"

#include <algorithm>
#include <utility>

namespace zelto {
namespace {

constexpr std::chrono::milliseconds kPause{250};

}  // namespace

void ImportTally::expect(const ImportTree& tree) {
  const std::lock_guard lock(mutex_);
  report_.total = tree.bytes();
  report_.allEntries = tree.entries.size();
  tell(true);
}

void ImportTally::found(const ImportSurvey& survey) {
  const std::lock_guard lock(mutex_);
  report_.completed = survey.bytes;
  report_.entries = survey.count;
  tell(false);
}

void ImportTally::arriving(std::uint64_t bytes) {
  const std::lock_guard lock(mutex_);
  report_.completed = std::min(report_.completed + bytes, report_.total);
  tell(false);
}

void ImportTally::arrived(std::uint64_t bytes) {
  const std::lock_guard lock(mutex_);
  report_.completed = std::min(report_.completed + bytes, report_.total);
  report_.entries = std::min(report_.entries + 1, report_.allEntries);
  tell(false);
}

void ImportTally::counted(std::uint64_t bytes, std::uint64_t entries) {
  const std::lock_guard lock(mutex_);
  report_.completed = std::min(std::max(report_.completed, bytes), report_.total);
  report_.entries = std::min(std::max(report_.entries, entries), report_.allEntries);
  tell(false);
}

void ImportTally::say(std::string message) {
  const std::lock_guard lock(mutex_);
  report_.message = std::move(message);
  tell(true);
  report_.message.clear();
}

void ImportTally::finish(const std::string& error) {
  const std::lock_guard lock(mutex_);
  report_.finished = true;
  report_.error = error;
  tell(true);
}

// With the lock, so that what is told later is not older.
void ImportTally::tell(bool always) {
  const auto now = std::chrono::steady_clock::now();
  if (!always && now - last_ < kPause) return;
  last_ = now;
  told_(report_);
}

}  // namespace zelto
