#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "framework/thumbnails/ThumbnailItem.h"
#include "platform/foundation/Completion.h"

namespace zelto {

// Whose pictures are wanted, by whom, and in which order: what was asked for last comes first, in the order
// of its list. A file is in it once, however often it is asked for; it waits, or is on its way. THREAD: its
// owner's alone.
class ThumbnailBacklog {
 public:
  // Completions of those who have nothing to wait for any more, for the owner to call.
  using Answers = std::vector<Completion<>>;

  // Beyond `mostWaiting` the oldest are given up.
  explicit ThumbnailBacklog(std::size_t mostWaiting) : mostWaiting_(mostWaiting) {}

  // `done` is among the answers once nobody needs to work for these items any more: here, or later.
  Answers add(const std::string& asker, const std::vector<ThumbnailItem>& items, Completion<> done);
  // The same for one item, but nothing is done where nobody wants it yet.
  Answers join(const std::string& asker, const ThumbnailItem& item, Completion<> done);
  // Everything of this asker is answered; what nobody else wants does not wait any more.
  Answers leave(const std::string& asker);

  // The next one to ask for; it is on its way from now on. Nothing when none waits. One of which no asker is
  // there any more is given up instead.
  using IsThere = std::function<bool(const std::string& asker)>;
  std::optional<ThumbnailItem> next(const IsThere& isThere, Answers& answers);
  // The item has its picture, or gets none. One that is wanted in another state by now waits again.
  Answers settle(const ThumbnailItem& item);
  // What is on its way will not arrive. It waits again in its place, if somebody still wants it.
  void waitAgain();
  // Nothing is wanted any more.
  Answers clear();

  std::size_t waiting() const { return waiting_.size(); }

 private:
  struct Ask {
    std::string asker;
    std::size_t open;
    Completion<> done;
  };
  // The later the request, the smaller; then the place in its list.
  using Rank = std::pair<std::int64_t, std::size_t>;
  struct Wanted {
    ThumbnailItem item;
    Rank rank;
    bool waits = false;
    std::vector<std::shared_ptr<Ask>> asks{};
  };
  using Place = std::unordered_map<Inode, Wanted>::iterator;

  void want(const ThumbnailItem& item, Rank rank, const std::shared_ptr<Ask>& ask);
  void wait(Wanted& wanted);
  void end(Place place, Answers& answers);
  static void answered(Ask& ask, Answers& answers);

  const std::size_t mostWaiting_;
  std::int64_t lists_ = 0;
  std::unordered_map<Inode, Wanted> wanted_;
  std::map<Rank, Inode> waiting_;
};

}  // namespace zelto
