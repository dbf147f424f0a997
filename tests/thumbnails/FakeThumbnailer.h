#pragma once

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "framework/thumbnails/ThumbnailItem.h"
#include "platform/fileprovider/NSFileProviderThumbnailing.h"

namespace zelto::test {

// A picture "/INODE" of that date.
inline ThumbnailItem item(Inode inode, std::int64_t modified = 1) {
  const auto name = "/" + std::to_string(inode);
  return {inode, name, "/mount" + name + ".png", modified};
}

// An extension that keeps every request for thumbnails until the test answers its items. THREAD: any.
class FakeThumbnailer final : public NSFileProviderThumbnailing {
 public:
  using Finish = Completion<std::optional<NSError>>;
  using Identifiers = std::vector<std::string>;

  std::shared_ptr<NSProgress> fetchThumbnailsForItemIdentifiers(const Identifiers& identifiers, CGSize,
                                                                NSFileProviderThumbnailHandler handler,
                                                                Finish finish) override {
    const std::lock_guard lock(mutex_);
    for (const auto& identifier : identifiers) open_.push_back({identifier, handler});
    asked_.insert(asked_.end(), identifiers.begin(), identifiers.end());
    finishes_.push_back(std::move(finish));
    mostOpen_ = std::max(mostOpen_, open_.size());
    changed_.notify_all();
    return NSProgress::create();
  }

  // Answers the oldest open request for an item. False when there is none.
  bool answer(const std::string& identifier, const std::optional<NSData>& image) {
    const auto handler = take(identifier);
    if (handler) handler(identifier, image, std::nullopt);
    return handler != nullptr;
  }
  // Ends a whole request, the first being number 0.
  void finish(std::size_t request, const std::optional<NSError>& error) {
    Finish finish;
    {
      const std::lock_guard lock(mutex_);
      finish = std::move(finishes_.at(request));
    }
    finish(error);
  }
  // The host is gone: what is open will never be answered, or late. Gives the handlers.
  std::vector<std::pair<std::string, NSFileProviderThumbnailHandler>> drop() {
    const std::lock_guard lock(mutex_);
    return std::exchange(open_, {});
  }
  // BLOCKS: until so many items have been asked for since the start.
  void awaitAsked(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return asked_.size() >= count; });
  }
  Identifiers open() const {
    const std::lock_guard lock(mutex_);
    Identifiers identifiers;
    for (const auto& each : open_) identifiers.push_back(each.first);
    return identifiers;
  }
  Identifiers asked() const {
    const std::lock_guard lock(mutex_);
    return asked_;
  }
  std::size_t mostOpen() const {
    const std::lock_guard lock(mutex_);
    return mostOpen_;
  }

 private:
  NSFileProviderThumbnailHandler take(const std::string& identifier) {
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(open_, identifier, [](const auto& each) { return each.first; });
    if (found == open_.end()) return nullptr;
    auto handler = std::move(found->second);
    open_.erase(found);
    return handler;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::pair<std::string, NSFileProviderThumbnailHandler>> open_;
  Identifiers asked_;
  std::vector<Finish> finishes_;
  std::size_t mostOpen_ = 0;
};

}  // namespace zelto::test
