#include "framework/thumbnails/ThumbnailBacklog.h"

#include <algorithm>

namespace zelto {

ThumbnailBacklog::Answers ThumbnailBacklog::add(const std::string& asker,
                                                const std::vector<ThumbnailItem>& items, Completion<> done) {
  Answers answers;
  // One more than there are, so that nothing below ends it too early.
  const auto ask = std::make_shared<Ask>(Ask{asker, 1, std::move(done)});
  const auto list = --lists_;
  for (std::size_t i = 0; i < items.size(); ++i) want(items[i], {list, i}, ask);
  while (waiting_.size() > mostWaiting_) end(wanted_.find(waiting_.rbegin()->second), answers);
  answered(*ask, answers);
  return answers;
}

ThumbnailBacklog::Answers ThumbnailBacklog::join(const std::string& asker, const ThumbnailItem& item,
                                                 Completion<> done) {
  if (wanted_.contains(item.inode)) return add(asker, {item}, std::move(done));
  Answers answers;
  answers.push_back(std::move(done));
  return answers;
}

void ThumbnailBacklog::want(const ThumbnailItem& item, Rank rank, const std::shared_ptr<Ask>& ask) {
  const auto [place, added] = wanted_.try_emplace(item.inode, Wanted{item, rank});
  auto& wanted = place->second;
  if (!wanted.asks.empty() && wanted.asks.back() == ask) return;  // twice in one list
  const bool waits = added || wanted.waits;
  if (wanted.waits) waiting_.erase(wanted.rank);
  wanted.item = item;
  wanted.rank = rank;
  if (waits) wait(wanted);
  wanted.asks.push_back(ask);
  ++ask->open;
}

void ThumbnailBacklog::wait(Wanted& wanted) {
  wanted.waits = true;
  waiting_.emplace(wanted.rank, wanted.item.inode);
}

void ThumbnailBacklog::end(Place place, Answers& answers) {
  for (const auto& ask : place->second.asks) answered(*ask, answers);
  if (place->second.waits) waiting_.erase(place->second.rank);
  wanted_.erase(place);
}

void ThumbnailBacklog::answered(Ask& ask, Answers& answers) {
  if (--ask.open == 0) answers.push_back(std::move(ask.done));
}

ThumbnailBacklog::Answers ThumbnailBacklog::leave(const std::string& asker) {
  Answers answers;
  for (auto place = wanted_.begin(); place != wanted_.end();) {
    const auto current = place++;
    auto& [inode, wanted] = *current;
    const auto left =
        std::ranges::stable_partition(wanted.asks, [&asker](const auto& ask) { return ask->asker != asker; });
    for (const auto& ask : left) answered(*ask, answers);
    wanted.asks.erase(left.begin(), left.end());
    if (wanted.asks.empty() && wanted.waits) end(current, answers);
  }
  return answers;
}

std::optional<ThumbnailItem> ThumbnailBacklog::next(const IsThere& isThere, Answers& answers) {
  while (!waiting_.empty()) {
    const auto place = wanted_.find(waiting_.begin()->second);
    auto& wanted = place->second;
    if (std::ranges::none_of(wanted.asks, [&](const auto& ask) { return isThere(ask->asker); })) {
      end(place, answers);
      continue;
    }
    waiting_.erase(waiting_.begin());
    wanted.waits = false;
    return wanted.item;
  }
  return std::nullopt;
}

ThumbnailBacklog::Answers ThumbnailBacklog::settle(const ThumbnailItem& item) {
  Answers answers;
  const auto place = wanted_.find(item.inode);
  if (place == wanted_.end()) return answers;
  auto& wanted = place->second;
  if (wanted.item == item) {
    end(place, answers);
  } else if (!wanted.waits) {
    wait(wanted);
  }
  return answers;
}

ThumbnailBacklog::Answers ThumbnailBacklog::clear() {
  Answers answers;
  while (!wanted_.empty()) end(wanted_.begin(), answers);
  return answers;
}

void ThumbnailBacklog::waitAgain() {
  for (auto place = wanted_.begin(); place != wanted_.end();) {
    auto& wanted = place->second;
    if (wanted.asks.empty()) {
      place = wanted_.erase(place);
      continue;
    }
    if (!wanted.waits) wait(wanted);
    ++place;
  }
}

}  // namespace zelto
