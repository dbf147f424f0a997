#include "framework/replica/Journal.h"

namespace zelto {
namespace {

// How long the writer gathers what comes in quick succession, and how much ends that at once.
constexpr std::chrono::milliseconds kLinger{25};
constexpr std::size_t kWorthWaking = 20000;

}  // namespace

void Journal::waitForRoom() {
  std::unique_lock lock(mutex_);
  space_.wait(lock, [this] { return rows_ < rowLimit_ || failing_ || abandoned_ || stopping_; });
}

void Journal::push(JournalChunk chunk) {
  if (chunk.empty()) return;
  auto shared = std::make_shared<const JournalChunk>(std::move(chunk));
  const std::lock_guard lock(mutex_);
  if (abandoned_) return;
  rows_ += shared->rows();
  ++pushed_;
  chunks_.push_back(std::move(shared));
  // More is on its way mostly: the writer is woken once for all that comes within its linger.
  if (chunks_.size() == 1 || rows_ >= kWorthWaking) work_.notify_one();
}

std::uint64_t Journal::pushedSoFar() const {
  const std::lock_guard lock(mutex_);
  return pushed_;
}

std::uint64_t Journal::finishedSoFar() const {
  const std::lock_guard lock(mutex_);
  return finished_;
}

std::optional<NodeRow> Journal::find(Inode inode, Chunk& keepsAlive) const {
  std::vector<Chunk> chunks;
  {
    const std::lock_guard lock(mutex_);
    chunks.assign(chunks_.rbegin(), chunks_.rend());
  }
  for (Chunk& chunk : chunks) {
    auto row = chunk->find(inode);
    if (!row) continue;
    keepsAlive = std::move(chunk);
    return row;
  }
  return {};
}

std::vector<Journal::Chunk> Journal::take(std::size_t rows, Wait wait) {
  std::unique_lock lock(mutex_);
  if (wait == Wait::forWork) {
    work_.wait(lock, [this] { return !chunks_.empty() || stopping_; });
    work_.wait_for(lock, kLinger,
                   [this] { return stopping_ || wakes_ != takenWake_ || rows_ >= kWorthWaking; });
  }
  takenWake_ = wakes_;
  std::vector<Chunk> taken;
  std::size_t count = 0;
  for (const Chunk& chunk : chunks_) {
    if (!taken.empty() && count + chunk->rows() > rows) break;
    taken.push_back(chunk);
    count += chunk->rows();
  }
  return taken;
}

void Journal::written(std::size_t chunks) {
  std::vector<Chunk> freed;  // outside the lock
  {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < chunks && !chunks_.empty(); ++i) {
      rows_ -= chunks_.front()->rows();
      freed.push_back(std::move(chunks_.front()));
      chunks_.pop_front();
      ++finished_;
    }
    failing_ = false;
  }
  space_.notify_all();
}

void Journal::failed(std::chrono::milliseconds pause) {
  std::unique_lock lock(mutex_);
  failing_ = true;
  failedWake_ = takenWake_;
  space_.notify_all();
  work_.wait_for(lock, pause, [this] { return wakes_ != takenWake_ || stopping_; });
}

void Journal::abandon() {
  const std::lock_guard lock(mutex_);
  abandoned_ = true;
  finished_ = pushed_;
  rows_ = 0;
  chunks_.clear();
  space_.notify_all();
}

std::size_t Journal::queuedRows() const {
  const std::lock_guard lock(mutex_);
  return rows_;
}

void Journal::stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  work_.notify_all();
  space_.notify_all();
}

bool Journal::stopping() const {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

void Journal::flush() {
  std::unique_lock lock(mutex_);
  const std::uint64_t goal = pushed_, wake = ++wakes_;
  work_.notify_all();
  space_.wait(lock, [&] { return finished_ >= goal || failedWake_ >= wake || ended_; });
}

void Journal::end() {
  const std::lock_guard lock(mutex_);
  ended_ = abandoned_ = true;
  space_.notify_all();
}

}  // namespace zelto
