#include "platform/bus/BusCore.h"

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "platform/bus/BusMessage.h"
#include "platform/bus/BusOpen.h"

namespace zelto {

BusCore::BusCore(BusHandle bus)
    : bus_(std::move(bus)),
      queue_(std::make_shared<BusTaskQueue>()),
      objects_(std::make_shared<BusObjects>(bus_.get(), queue_)),
      calls_(bus_.get()),
      matches_(bus_.get()) {}

void BusCore::stop() {
  stopped_ = true;
  queue_->wake();
}

void BusCore::run() {
  thread_ = std::this_thread::get_id();
  loop();
  for (auto& task : queue_->close()) task();
  if (!stopped_) matches_.lost();
  calls_.failAll(errorWithPOSIXCode(ENOTCONN, "The connection to the message bus is closed."));
  matches_.clear();
  objects_->clear();
  bus_.reset();
}

// One message at a time between looks at the queue, so that neither side keeps the other waiting.
void BusCore::loop() {
  while (!stopped_) {
    runTasks();
    const int processed = sd_bus_process(bus_.get(), nullptr);
    if (processed < 0) return;
    if (processed == 0 && queue_->empty() && !stopped_) {
      waitForBus(bus_.get(), queue_->wakeDescriptor(), UINT64_MAX);
    }
  }
}

void BusCore::runTasks() {
  for (auto& task : queue_->take()) task();
}

std::optional<NSError> BusCore::requestName(const std::string& name) {
  if (sd_bus_service_name_is_valid(name.c_str()) <= 0) {
    return errorWithPOSIXCode(EINVAL, fmt::format("\"{}\" is not a name for the message bus.", name));
  }
  const int result = sd_bus_request_name(bus_.get(), name.c_str(), 0);
  if (result >= 0 || result == -EALREADY) return std::nullopt;
  if (result == -EEXIST) {
    return errorWithPOSIXCode(EEXIST, fmt::format("The name {} is taken on the message bus.", name));
  }
  return errorWithPOSIXCode(
      -result, fmt::format("The message bus refuses the name {}: {}.", name, std::strerror(-result)));
}

void BusCore::emitSignal(const std::string& path, const std::string& interface, const std::string& name,
                         const BusArguments& arguments) {
  sd_bus_message* raw = nullptr;
  int result = sd_bus_message_new_signal(bus_.get(), &raw, path.c_str(), interface.c_str(), name.c_str());
  const BusMessage message(raw);
  if (result >= 0 && !appendArguments(raw, arguments)) result = sd_bus_send(bus_.get(), raw, nullptr);
  if (result < 0)
    fmt::print(stderr, "zelto: the signal {} cannot be sent: {}\n", name, std::strerror(-result));
}

}  // namespace zelto
