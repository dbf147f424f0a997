#include "framework/replica/LocalChanges.h"

#include <algorithm>

#include "platform/foundation/KillPoint.h"

namespace zelto {
namespace {

constexpr std::uint64_t kLongLog = 4 << 20;     // bytes
constexpr std::uint64_t kBytesPerEntry = 1024;  // more than most need
constexpr std::size_t kRemembered = 16384;      // settled nodes and identifiers

template <typename Map>
void forgetOld(Map& map, std::uint64_t settled) {
  if (map.size() <= kRemembered) return;
  std::erase_if(map, [settled](const auto& known) { return known.second + kRemembered / 2 < settled; });
}

}  // namespace

int LocalChanges::begin(std::vector<LocalEntry> entries, std::uint64_t lastNumber) {
  nextNumber_ = lastNumber + 1;
  for (LocalEntry& entry : entries) {
    nextNumber_ = std::max({nextNumber_, entry.order + 1, entry.settled + 1});
    place(std::move(entry));
  }
  std::vector<const LocalEntry*> all;
  for (const auto& [inode, entry] : entries_) all.push_back(&entry);
  return log_.rewrite(all);
}

const LocalEntry* LocalChanges::find(Inode inode) const {
  const auto at = entries_.find(inode);
  return at == entries_.end() ? nullptr : &at->second;
}

LocalEntry* LocalChanges::running(Inode inode) {
  const auto at = entries_.find(inode);
  return at == entries_.end() ? nullptr : &at->second;
}

const LocalEntry* LocalChanges::elsewhereFor(std::string_view identifier) const {
  const auto at = elsewhere_.find(identifier);
  return at == elsewhere_.end() ? nullptr : find(at->second);
}

const LocalEntry* LocalChanges::attemptedAt(std::string_view identifier) const {
  const auto at = attempts_.find(identifier);
  return at == attempts_.end() ? nullptr : find(at->second);
}

const LocalEntry* LocalChanges::elsewhereBelow(std::string_view identifier) const {
  const std::string prefix = std::string(identifier) + "/";
  for (const auto* places : {&elsewhere_, &attempts_}) {
    const auto at = places->lower_bound(prefix);
    if (at != places->end() && at->first.starts_with(prefix)) return find(at->second);
  }
  return nullptr;
}

std::vector<Inode> LocalChanges::oldestFirst() const {
  std::vector<std::pair<std::uint64_t, Inode>> ordered;
  for (const auto& [inode, entry] : entries_) {
    if (entry.pending()) ordered.emplace_back(entry.order, inode);
  }
  std::sort(ordered.begin(), ordered.end());
  std::vector<Inode> inodes;
  for (const auto& [order, inode] : ordered) inodes.push_back(inode);
  return inodes;
}

int LocalChanges::apply(Edit edit) {
  std::vector<LocalLog::Record> records;
  for (const LocalEntry& entry : edit.put) records.push_back({entry.inode, &entry});
  for (const Inode inode : edit.drop) {
    if (entries_.contains(inode)) records.push_back({inode, nullptr});
  }
  if (records.empty()) return 0;
  if (const int code = log_.append(records)) return code;
  killPoint("change.noted");
  for (const Inode inode : edit.drop) erase(inode);
  for (LocalEntry& entry : edit.put) place(std::move(entry));
  return rewriteWhenLong();
}

// A log that cannot be made shorter goes on growing.
int LocalChanges::rewriteWhenLong() {
  if (log_.bytes() < kLongLog || log_.bytes() < entries_.size() * kBytesPerEntry * 4) return 0;
  std::vector<const LocalEntry*> all;
  for (const auto& [inode, entry] : entries_) all.push_back(&entry);
  static_cast<void>(log_.rewrite(all));
  return 0;
}

void LocalChanges::place(LocalEntry entry) {
  const Inode inode = entry.inode;
  erase(inode);
  if (!entry.identifier.empty()) elsewhere_.insert_or_assign(entry.identifier, inode);
  if (!entry.attempt.empty()) attempts_.insert_or_assign(entry.attempt, inode);
  entries_.insert_or_assign(inode, std::move(entry));
}

void LocalChanges::erase(Inode inode) {
  late_.erase(inode);
  const auto at = entries_.find(inode);
  if (at == entries_.end()) return;
  forgetIdentifier(at->second);
  const auto attempt = attempts_.find(at->second.attempt);
  if (attempt != attempts_.end() && attempt->second == inode) attempts_.erase(attempt);
  entries_.erase(at);
}

void LocalChanges::forgetIdentifier(LocalEntry& entry) {
  const auto at = elsewhere_.find(entry.identifier);
  if (at != elsewhere_.end() && at->second == entry.inode) elsewhere_.erase(at);
  entry.identifier.clear();
}

void LocalChanges::expectAs(Inode inode, const std::string& identifier) {
  LocalEntry* const entry = running(inode);
  if (entry == nullptr) return;
  forgetIdentifier(*entry);
  if (identifier.empty()) return;
  entry->identifier = identifier;
  elsewhere_.insert_or_assign(identifier, inode);
}

std::vector<Inode> LocalChanges::takeLate(std::uint64_t writtenChunks) {
  std::vector<Inode> written;
  for (const auto& [inode, chunk] : late_) {
    if (chunk <= writtenChunks) written.push_back(inode);
  }
  for (const Inode inode : written) late_.erase(inode);
  return written;
}

void LocalChanges::noteSettled(Inode inode, const std::string& identifier) {
  ++settled_;
  settledNodes_.insert_or_assign(inode, settled_);
  if (!identifier.empty()) settledIdentifiers_.insert_or_assign(identifier, settled_);
  forgetOld(settledNodes_, settled_);
  forgetOld(settledIdentifiers_, settled_);
}

bool LocalChanges::settledSince(std::uint64_t asked, Inode inode) const {
  const auto at = settledNodes_.find(inode);
  return at != settledNodes_.end() && at->second > asked;
}

bool LocalChanges::settledSince(std::uint64_t asked, std::string_view identifier) const {
  const auto at = settledIdentifiers_.find(identifier);
  return at != settledIdentifiers_.end() && at->second > asked;
}

}  // namespace zelto
