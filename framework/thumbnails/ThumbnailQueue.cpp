#include "framework/thumbnails/ThumbnailQueue.h"

#include <algorithm>
#include <utility>

namespace zelto {

namespace {

// What the larger pictures of the cache want.
constexpr CGSize kWantedSize{256, 256};

}  // namespace

ThumbnailQueue::ThumbnailQueue(Parts parts, const Limits& limits)
    : parts_(std::move(parts)), limits_(limits), backlog_(limits.waiting) {}

std::shared_ptr<ThumbnailQueue> ThumbnailQueue::make(Parts parts, const Limits& limits) {
  return std::shared_ptr<ThumbnailQueue>(new ThumbnailQueue(std::move(parts), limits));
}

// The queue's last task may outlive everybody else's interest.
template <typename Task>
void ThumbnailQueue::run(Task task) {
  queue_.async([self = shared_from_this(), task = std::move(task)]() mutable { task(*self); });
}

void ThumbnailQueue::ask(std::string asker, std::vector<ThumbnailItem> items, Completion<> done) {
  run([asker = std::move(asker), items = std::move(items), done = std::move(done)](
          ThumbnailQueue& self) mutable { self.add(asker, std::move(items), std::move(done)); });
}

void ThumbnailQueue::picture(std::string asker, ThumbnailItem item, Interest interest, PictureHandler done) {
  run([asker = std::move(asker), item = std::move(item), interest, done = std::move(done)](
          ThumbnailQueue& self) mutable { self.addOne(asker, item, interest, std::move(done)); });
}

void ThumbnailQueue::askerGone(std::string asker) {
  run([asker = std::move(asker)](ThumbnailQueue& self) { call(self.backlog_.leave(asker)); });
}

void ThumbnailQueue::hostReady() {
  run([](ThumbnailQueue& self) {
    self.hostPresent_ = true;
    self.silent_ = false;
    self.advance();
  });
}

void ThumbnailQueue::hostLost() {
  run([](ThumbnailQueue& self) { self.lose(); });
}

void ThumbnailQueue::remove(std::vector<std::string> paths) {
  run([paths = std::move(paths)](ThumbnailQueue& self) {
    for (const auto& path : paths) self.parts_.cache.remove(path);
  });
}

void ThumbnailQueue::call(ThumbnailBacklog::Answers answers) {
  for (auto& answer : answers) answer();
}

void ThumbnailQueue::add(const std::string& asker, std::vector<ThumbnailItem> items, Completion<> done) {
  std::erase_if(
      items, [this](const ThumbnailItem& item) { return parts_.cache.isCurrent(item.path, item.modified); });
  call(backlog_.add(asker, items, std::move(done)));
  advance();
}

void ThumbnailQueue::addOne(const std::string& asker, const ThumbnailItem& item, Interest interest,
                            PictureHandler done) {
  if (auto known = parts_.cache.picture(item.path, item.modified)) return done(std::move(known));
  // Called by this object, which is there then.
  auto answer = [this, item, done = std::move(done)]() mutable {
    done(parts_.cache.picture(item.path, item.modified));
  };
  call(interest == Interest::own ? backlog_.add(asker, {item}, std::move(answer))
                                 : backlog_.join(asker, item, std::move(answer)));
  advance();
}

void ThumbnailQueue::lose() {
  hostPresent_ = false;
  for (const auto& [number, request] : requests_) parts_.deadlines.cancel(request.deadline);
  requests_.clear();
  onTheirWay_ = 0;
  backlog_.waitAgain();
}

void ThumbnailQueue::advance() {
  if (!hostPresent_) return;
  const auto most = silent_ ? 1 : limits_.onTheirWay;
  std::vector<ThumbnailItem> items;
  ThumbnailBacklog::Answers answers;
  while (onTheirWay_ + items.size() < most) {
    auto item = backlog_.next(parts_.isThere, answers);
    if (!item) break;
    items.push_back(*std::move(item));
  }
  if (!items.empty()) send(items);
  call(std::move(answers));
}

void ThumbnailQueue::send(const std::vector<ThumbnailItem>& items) {
  const auto number = ++lastRequest_;
  if (silent_) probe_ = number;
  auto& request = requests_[number];
  std::vector<std::string> identifiers;
  for (const auto& item : items) {
    request.open.emplace(item.inode, item);
    // A file that took another one's place has its identifier, too.
    if (std::ranges::find(identifiers, item.identifier) == identifiers.end())
      identifiers.push_back(item.identifier);
  }
  onTheirWay_ += items.size();
  watch(number);
  parts_.extension.fetchThumbnailsForItemIdentifiers(
      identifiers, kWantedSize, handlerFor(number, items),
      [weak = weak_from_this(), number](const std::optional<NSError>& error) {
        // Without an error the items' own handlers say everything, perhaps later than this.
        const auto self = error ? weak.lock() : nullptr;
        if (self) self->run([number](ThumbnailQueue& queue) { queue.giveUp(number); });
      });
}

NSFileProviderThumbnailHandler ThumbnailQueue::handlerFor(std::uint64_t request,
                                                          const std::vector<ThumbnailItem>& items) {
  // The items stay with the handler: a late answer is still of use.
  return
      [weak = weak_from_this(), request, items](
          const std::string& identifier, const std::optional<NSData>& image, const std::optional<NSError>&) {
        const auto self = weak.lock();
        if (!self) return;
        for (const auto& item : items) {
          if (item.identifier != identifier) continue;
          self->run([request, item, image](ThumbnailQueue& queue) { queue.arrived(request, item, image); });
        }
      };
}

void ThumbnailQueue::watch(std::uint64_t request) {
  requests_.at(request).deadline = parts_.deadlines.schedule(
      Deadlines::Clock::now() + limits_.patience, [weak = weak_from_this(), request] {
        const auto self = weak.lock();
        if (self) self->run([request](ThumbnailQueue& queue) { queue.expire(request); });
      });
}

bool ThumbnailQueue::takeOut(std::uint64_t request, Inode inode) {
  const auto found = requests_.find(request);
  if (found == requests_.end() || found->second.open.erase(inode) == 0) return false;
  --onTheirWay_;
  parts_.deadlines.cancel(found->second.deadline);
  if (found->second.open.empty()) {
    requests_.erase(found);
  } else {
    watch(request);
  }
  return true;
}

void ThumbnailQueue::arrived(std::uint64_t request, const ThumbnailItem& item,
                             const std::optional<NSData>& image) {
  const bool awaited = takeOut(request, item.inode);
  silent_ = false;
  // The next is on its way while this one is written.
  advance();
  const bool stored = image && store(item, *image);
  if (!awaited && !stored) return;
  call(backlog_.settle(item));
  advance();
}

bool ThumbnailQueue::store(const ThumbnailItem& item, const NSData& image) {
  // Without its picture a file is shown by an icon; nobody needs to hear why.
  if (parts_.cache.store(item.path, item.modified, image, item.microseconds)) return false;
  if (parts_.stored) parts_.stored(item.inode);
  return true;
}

void ThumbnailQueue::giveUp(std::uint64_t request) {
  const auto found = requests_.find(request);
  if (found == requests_.end()) return;
  const auto given = std::move(found->second);
  requests_.erase(found);
  parts_.deadlines.cancel(given.deadline);
  onTheirWay_ -= given.open.size();
  for (const auto& [inode, item] : given.open) call(backlog_.settle(item));
  advance();
}

void ThumbnailQueue::expire(std::uint64_t request) {
  if (!requests_.contains(request)) return;
  if (request == probe_) call(backlog_.clear());
  silent_ = true;
  giveUp(request);
}

}  // namespace zelto
