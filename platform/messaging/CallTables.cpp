#include "platform/messaging/CallTables.h"

#include <utility>

namespace zelto {

ProgressCounts countsOf(const NSProgress& progress) {
  return {.total = progress.totalUnitCount(), .completed = progress.completedUnitCount()};
}

std::optional<std::uint64_t> OutgoingCalls::add(Call call) {
  std::scoped_lock lock(mutex_);
  if (closed_) return std::nullopt;
  calls_.emplace(++lastId_, std::move(call));
  return lastId_;
}

std::optional<OutgoingCalls::Call> OutgoingCalls::find(std::uint64_t id) const {
  std::scoped_lock lock(mutex_);
  auto it = calls_.find(id);
  return it == calls_.end() ? std::nullopt : std::optional(it->second);
}

std::optional<OutgoingCalls::Call> OutgoingCalls::take(std::uint64_t id) {
  std::scoped_lock lock(mutex_);
  auto node = calls_.extract(id);
  return node.empty() ? std::nullopt : std::optional(std::move(node.mapped()));
}

bool OutgoingCalls::wasIssued(std::uint64_t id) const {
  std::scoped_lock lock(mutex_);
  return id != 0 && id <= lastId_;
}

std::unordered_map<std::uint64_t, OutgoingCalls::Call> OutgoingCalls::close() {
  std::scoped_lock lock(mutex_);
  closed_ = true;
  return std::exchange(calls_, {});
}

std::optional<bool> IncomingCalls::add(std::uint64_t id) {
  std::scoped_lock lock(mutex_);
  if (calls_.size() >= kMaximum) return std::nullopt;
  return calls_.try_emplace(id).second;
}

bool IncomingCalls::attach(std::uint64_t id, std::shared_ptr<NSProgress> progress) {
  std::scoped_lock lock(mutex_);
  auto it = calls_.find(id);
  if (it == calls_.end()) return false;
  it->second.progress = std::move(progress);
  return true;
}

std::shared_ptr<NSProgress> IncomingCalls::progress(std::uint64_t id) const {
  std::scoped_lock lock(mutex_);
  auto it = calls_.find(id);
  return it == calls_.end() ? nullptr : it->second.progress;
}

bool IncomingCalls::isUpdateDue(std::uint64_t id, ProgressCounts counts) {
  auto now = std::chrono::steady_clock::now();
  std::scoped_lock lock(mutex_);
  auto it = calls_.find(id);
  if (it == calls_.end() || it->second.sent == counts) return false;
  if (now - it->second.sentAt < kUpdateInterval) return false;
  it->second.sent = counts;
  it->second.sentAt = now;
  return true;
}

std::optional<IncomingCalls::Removed> IncomingCalls::remove(std::uint64_t id) {
  decltype(calls_)::node_type node;
  {
    std::scoped_lock lock(mutex_);
    node = calls_.extract(id);
  }
  if (node.empty()) return std::nullopt;
  Removed removed;
  if (!node.mapped().progress) return removed;
  auto counts = countsOf(*node.mapped().progress);
  if (counts != node.mapped().sent) removed.unsent = counts;
  return removed;
}

void IncomingCalls::close() {
  decltype(calls_) calls;
  std::scoped_lock lock(mutex_);
  calls.swap(calls_);
}

}  // namespace zelto
