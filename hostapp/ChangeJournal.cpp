#include "hostapp/ChangeJournal.h"

#include <utility>

namespace zelto {

namespace {

// What two changes of one identifier amount to.
ChangeKind merged(ChangeKind earlier, ChangeKind later) {
  if (later != ChangeKind::update) return later;
  return earlier == ChangeKind::update ? ChangeKind::update : ChangeKind::replacement;
}

}  // namespace

ChangeKind ChangeJournal::Entry::whole() const {
  if (taken && waiting) return merged(*taken, *waiting);
  return taken ? *taken : *waiting;
}

ChangeJournal::ChangeJournal(std::shared_ptr<HostStore> store) : store_(std::move(store)) {
  for (auto& change : store_->changes()) {
    entries_.emplace(std::move(change.identifier), Entry{std::nullopt, change.kind});
  }
}

void ChangeJournal::add(const std::vector<StoredChange>& changes) {
  const std::lock_guard order(writing_);
  std::vector<StoredChange> stored;
  stored.reserve(changes.size());
  {
    const std::lock_guard lock(mutex_);
    for (const auto& change : changes) {
      auto& entry = entries_[change.identifier];
      entry.waiting = entry.waiting ? merged(*entry.waiting, change.kind) : change.kind;
      stored.push_back({change.identifier, entry.whole()});
    }
  }
  store_->saveChanges(stored);
}

void ChangeJournal::replaceAll(const std::vector<StoredChange>& changes) {
  {
    const std::lock_guard order(writing_);
    {
      const std::lock_guard lock(mutex_);
      entries_.clear();
    }
    store_->clearChanges();
  }
  add(changes);
}

// What was handed out has arrived, or waits once more. Returns what is done with.
std::vector<std::string> ChangeJournal::settleTakenLocked(bool arrived) {
  std::vector<std::string> done;
  for (auto& [identifier, entry] : entries_) {
    if (!entry.taken) continue;
    if (!arrived) {
      entry.waiting = entry.whole();
    } else if (!entry.waiting) {
      done.push_back(identifier);
    }
    entry.taken.reset();
  }
  for (const auto& identifier : done) entries_.erase(identifier);
  return done;
}

ChangeJournal::Batch ChangeJournal::handOut(std::uint64_t connection, std::size_t limit) {
  const std::lock_guard order(writing_);
  Batch batch;
  std::vector<std::string> done;
  {
    const std::lock_guard lock(mutex_);
    done = settleTakenLocked(connection == connection_);
    connection_ = connection;
    for (auto& [identifier, entry] : entries_) {
      batch.more = batch.changes.size() == limit;
      if (batch.more) break;
      batch.changes.push_back({identifier, *entry.waiting});
      entry.taken = std::exchange(entry.waiting, std::nullopt);
    }
  }
  store_->removeChanges(done);
  return batch;
}

std::size_t ChangeJournal::size() const {
  const std::lock_guard lock(mutex_);
  return entries_.size();
}

}  // namespace zelto
