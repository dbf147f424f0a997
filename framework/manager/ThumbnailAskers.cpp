#include "framework/manager/ThumbnailAskers.h"

#include <algorithm>
#include <ranges>

namespace zelto {
namespace {

constexpr std::uint64_t kPatience = 5'000'000;  // microseconds

}  // namespace

ThumbnailAskers::ThumbnailAskers(std::shared_ptr<SessionBus> bus,
                                 std::function<void(const std::string&)> left)
    : bus_(std::move(bus)), left_(std::move(left)) {}

void ThumbnailAskers::add(const std::string& asker) {
  {
    const std::lock_guard lock(table_->mutex);
    if (!table_->askers.try_emplace(asker).second) return;
  }
  auto watch = bus_->watchName(asker, [this, asker](bool present) {
    if (present) return;
    left_(asker);
    remove(asker);
  });
  {
    const std::lock_guard lock(table_->mutex);
    const auto at = table_->askers.find(asker);
    if (at == table_->askers.end()) return;
    at->second.watch = std::move(watch);
  }
  askForProcess(asker);
}

void ThumbnailAskers::askForProcess(const std::string& asker) {
  const char* const bus = "org.freedesktop.DBus";
  bus_->call({bus, "/org/freedesktop/DBus", bus}, "GetConnectionUnixProcessID", "s", {asker}, kPatience,
             [table = std::weak_ptr(table_), asker](std::expected<BusArguments, NSError> answer) {
               const auto known = table.lock();
               const auto* process =
                   answer && !answer->empty() ? std::get_if<std::uint32_t>(&answer->front()) : nullptr;
               if (!known || process == nullptr) return;
               const std::lock_guard lock(known->mutex);
               const auto at = known->askers.find(asker);
               if (at != known->askers.end()) {
                 at->second.process = static_cast<pid_t>(*process);
               }
             });
}

void ThumbnailAskers::remove(const std::string& asker) {
  std::shared_ptr<void> watch;  // ends without the lock
  const std::lock_guard lock(table_->mutex);
  const auto at = table_->askers.find(asker);
  if (at == table_->askers.end()) return;
  watch = std::move(at->second.watch);
  table_->askers.erase(at);
}

bool ThumbnailAskers::isIn(pid_t process) const {
  const std::lock_guard lock(table_->mutex);
  return std::ranges::any_of(std::views::values(table_->askers),
                             [process](const Asker& asker) { return asker.process == process; });
}

}  // namespace zelto
