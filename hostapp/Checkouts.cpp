#include "hostapp/Checkouts.h"

#include <cmath>
#include <set>

#include "hostapp/BackendErrors.h"
#include "hostapp/ServerPaths.h"

namespace zelto {

void Checkouts::setChangeHandler(std::function<void(const std::string& path)> handler) {
  const bool wanted = static_cast<bool>(handler);
  {
    const std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
  }
  if (!wanted) return records_->setChangeHandler({});
  records_->setChangeHandler([this](const std::string& share) { table(share); });
}

Checkouts::Place Checkouts::placeOf(const std::string& path) {
  const auto slash = path.find('/');
  if (slash == std::string::npos) return {path, ""};
  return {path.substr(0, slash), path.substr(slash + 1)};
}

Checkout Checkouts::seen(const CheckoutTable::Entry& entry) const {
  return {entry.user, entry.since, entry.user == user_, mayManage_};
}

// The table as it is now; it is parsed again only when it has changed.
std::shared_ptr<const CheckoutTable> Checkouts::table(const std::string& share) {
  const auto version = records_->version(share);
  {
    const std::lock_guard lock(mutex_);
    const auto known = known_.find(share);
    if (known != known_.end() && known->second.version == version) return known->second.table;
  }
  return reread(share);
}

std::shared_ptr<const CheckoutTable> Checkouts::reread(const std::string& share) {
  auto text = records_->read(share);
  if (text) {
    auto table = CheckoutTable::decoded(text->text).value_or(CheckoutTable());
    return take(share, std::move(text->version), std::move(table));
  }
  // What was last known holds as long as nothing can be read.
  const std::lock_guard lock(mutex_);
  return known_[share].table;
}

std::shared_ptr<const CheckoutTable> Checkouts::take(const std::string& share, std::string version,
                                                     CheckoutTable table) {
  auto taken = std::make_shared<const CheckoutTable>(std::move(table));
  std::vector<std::string> changed;
  std::function<void(const std::string&)> handler;
  {
    const std::lock_guard lock(mutex_);
    auto& known = known_[share];
    changed = known.table->differencesTo(*taken);
    known = {std::move(version), taken};
    handler = handler_;
  }
  if (!handler) return taken;
  for (const auto& path : changed) handler(joinedPath(share, path));
  return taken;
}

std::optional<Checkout> Checkouts::of(const std::string& path) {
  const auto place = placeOf(path);
  const auto present = table(place.share);
  const auto* entry = present->at(place.path);
  return entry != nullptr ? std::optional(seen(*entry)) : std::nullopt;
}

std::map<std::string, Checkout, std::less<>> Checkouts::inFolder(const std::string& folder) {
  std::map<std::string, Checkout, std::less<>> found;
  const auto place = placeOf(folder);
  const auto present = table(place.share);
  if (present->empty()) return found;
  for (const auto& [name, entry] : present->inFolder(place.path)) found.emplace(name, seen(entry));
  return found;
}

std::optional<NSError> Checkouts::store(const std::string& share, ShareRecords::Lock& lock,
                                        const CheckoutTable& table) {
  if (auto error = lock.replace(table.encoded())) return error;
  reread(share);
  return std::nullopt;
}

std::optional<NSError> Checkouts::change(const std::string& share,
                                         const std::function<std::optional<NSError>(CheckoutTable&)>& edit) {
  const auto lock = records_->lock(share, ShareRecords::Access::exclusive);
  if (!lock) return lock.error();
  const auto before = reread(share);
  auto after = *before;
  if (auto error = edit(after)) return error;
  if (before->differencesTo(after).empty()) return std::nullopt;
  return store(share, **lock, after);
}

std::optional<NSError> Checkouts::checkOut(const std::string& path) {
  const auto place = placeOf(path);
  const auto entry = backend_->stat(path);
  if (!entry) return entry.error();
  if (entry->stat.kind != EntryKind::file) return refusedError(path, "only files can be checked out");
  if (!entry->stat.writable) return writeError(EACCES, path);
  return change(place.share, [this, &path, &place](CheckoutTable& table) -> std::optional<NSError> {
    if (const auto* held = table.at(place.path)) {
      if (held->user == user_) return std::nullopt;
      return refusedError(path, checkoutSentence(seen(*held)));
    }
    // Since the first look it may have gone.
    if (auto present = backend_->stat(path); !present) return present.error();
    table.set(place.path, {user_, NSDate::since1970(std::floor(NSDate::now().timeIntervalSince1970()))});
    return std::nullopt;
  });
}

std::optional<NSError> Checkouts::checkIn(const std::string& path) {
  const auto place = placeOf(path);
  if (!of(path)) return std::nullopt;
  return change(place.share, [this, &path, &place](CheckoutTable& table) -> std::optional<NSError> {
    const auto* held = table.at(place.path);
    if (held != nullptr && held->user != user_ && !mayManage_) {
      return refusedError(path, checkoutSentence(seen(*held)) + "; only " + held->user +
                                    ", or who manages check-outs, can check it in");
    }
    table.remove(place.path);
    return std::nullopt;
  });
}

std::optional<NSError> Checkouts::refusal(const std::string& path) {
  const auto place = placeOf(path);
  const auto present = table(place.share);
  if (present->empty()) return std::nullopt;
  for (const auto& [below, entry] : present->atOrBelow(place.path)) {
    if (entry.user == user_) continue;
    // An entry may have outlived its file.
    const auto held = joinedPath(place.share, below);
    const auto file = backend_->stat(held);
    if (!file || file->stat.kind != EntryKind::file) continue;
    return refusedError(held,
                        checkoutSentence(seen(entry)) + "; it can be changed again once it is checked in");
  }
  return std::nullopt;
}

std::expected<Checkouts::Held, NSError> Checkouts::hold(const std::string& path) {
  auto lock = records_->lock(placeOf(path).share, ShareRecords::Access::shared);
  if (!lock) return std::unexpected(lock.error());
  Held held;
  held.locks.push_back(std::move(*lock));
  return held;
}

std::expected<Checkouts::Held, NSError> Checkouts::holdForChange(const std::string& path) {
  auto held = hold(path);
  if (!held) return held;
  if (auto error = refusal(path)) return std::unexpected(*error);
  return held;
}

// Shared where nothing has to be rewritten; else exclusive, in the order of the names, so that two hosts
// never wait for one another.
std::expected<Checkouts::Held, NSError> Checkouts::holdForMove(const Place& from, const Place& to) {
  const bool rewrites =
      !table(from.share)->atOrBelow(from.path).empty() || !table(to.share)->atOrBelow(to.path).empty();
  if (!rewrites) return hold(from.share);
  Held held{{}, true};
  for (const auto& share : std::set<std::string>{from.share, to.share}) {
    auto lock = records_->lock(share, ShareRecords::Access::exclusive);
    if (!lock) return std::unexpected(lock.error());
    held.locks.push_back(std::move(*lock));
  }
  return held;
}

std::expected<BackendEntry, NSError> Checkouts::move(
    const std::string& from, const std::string& to,
    const std::function<std::expected<BackendEntry, NSError>()>& move) {
  if (from == to) return move();
  const auto old = placeOf(from);
  const auto now = placeOf(to);
  auto held = holdForMove(old, now);
  if (!held) return std::unexpected(held.error());
  if (auto error = refusal(from)) return std::unexpected(*error);
  auto moved = move();
  if (moved) carryLocked(old, now, *held);
  return moved;
}

void Checkouts::carry(const std::string& from, const std::string& to) {
  const auto old = placeOf(from);
  const auto now = placeOf(to);
  if (auto held = holdForMove(old, now)) carryLocked(old, now, *held);
}

void Checkouts::carryLocked(const Place& from, const Place& to, const Held& held) {
  const auto carried = table(from.share)->atOrBelow(from.path);
  const auto replaced = table(to.share)->atOrBelow(to.path);
  // Not exclusive: something was checked out only since then. Nobody looks for it under its old path.
  if (!held.exclusive || (carried.empty() && replaced.empty())) return;
  const bool one = from.share == to.share;
  const bool inOrder = from.share < to.share;
  auto source = *table(from.share);
  auto other = *table(to.share);
  auto& destination = one ? source : other;
  for (const auto& [path, entry] : replaced) destination.remove(path);
  for (const auto& [path, entry] : carried) source.remove(path);
  for (const auto& [path, entry] : carried) destination.set(to.path + path.substr(from.path.size()), entry);
  if (!one) store(to.share, *held.locks[inOrder ? 1 : 0], destination);
  store(from.share, *held.locks[one || inOrder ? 0 : 1], source);
}

void Checkouts::forget(const std::string& path) {
  const auto place = placeOf(path);
  if (table(place.share)->atOrBelow(place.path).empty()) return;
  change(place.share, [&place](CheckoutTable& table) -> std::optional<NSError> {
    for (const auto& [below, entry] : table.atOrBelow(place.path)) table.remove(below);
    return std::nullopt;
  });
}

}  // namespace zelto
