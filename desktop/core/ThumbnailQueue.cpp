#include "desktop/core/ThumbnailQueue.h"

namespace zelto::desktop {
namespace {

constexpr std::size_t kBatch = 16;

bool isPicture(const std::string& path) {
  const TextPointer type(g_content_type_guess(path.c_str(), nullptr, 0, nullptr));
  return std::string_view(type.get()).starts_with("image/");
}

}  // namespace

ThumbnailQueue::ThumbnailQueue(GDBusConnection& bus, BusTarget manager)
    : bus_(bus), manager_(std::move(manager)), cancellable_(g_cancellable_new()) {}

void ThumbnailQueue::want(const std::string& path) {
  if (wanted_.contains(path) || !isPicture(path)) return;
  wanted_.insert(path);
  waiting_.push_back(path);
  // A file browser shows its items one after the other: those of a moment go together.
  if (asked_.empty()) begin_.start(20, [this] { next(); });
}

void ThumbnailQueue::forget(const std::string& path) {
  if (wanted_.erase(path) == 0) return;
  // When nobody looks any more at what is on its way, what is looked at now need not wait for it.
  if (asked_.erase(path) != 0 && asked_.empty()) begin_.start(20, [this] { next(); });
}

void ThumbnailQueue::next() {
  asked_.clear();
  std::vector<std::string> batch;
  while (!waiting_.empty() && batch.size() < kBatch) {
    if (wanted_.contains(waiting_.front()) && asked_.insert(waiting_.front()).second) {
      batch.push_back(waiting_.front());
    }
    waiting_.pop_front();
  }
  if (batch.empty()) return;
  GVariant* paths = pathsArgument(batch);
  callBus(bus_, manager_, "Thumbnails", g_variant_new_tuple(&paths, 1), kNoLimit, *cancellable_,
          [this, call = ++calls_](const BusReply&) {
            if (call == calls_) next();
          });
}

}  // namespace zelto::desktop
