#include "platform/bus/SessionBus.h"

#include <cerrno>
#include <future>

#include <fmt/format.h>

#include "platform/bus/BusConnection.h"
#include "platform/bus/BusOpen.h"

namespace zelto {

std::expected<std::shared_ptr<SessionBus>, NSError> SessionBus::connect() {
  auto bus = openSessionBus();
  if (!bus) return std::unexpected(bus.error());
  return std::make_shared<BusConnection>(std::move(*bus));
}

std::expected<BusArguments, NSError> SessionBus::callAndWait(const Target& target, const std::string& method,
                                                             const std::string& signature,
                                                             BusArguments arguments,
                                                             std::uint64_t timeoutMicroseconds) {
  if (onBusThread()) {
    return std::unexpected(errorWithPOSIXCode(
        EDEADLK, fmt::format("{} is called on the bus thread, which would wait for itself.", method)));
  }
  std::promise<std::expected<BusArguments, NSError>> promise;
  auto result = promise.get_future();
  call(target, method, signature, std::move(arguments), timeoutMicroseconds,
       [&promise](std::expected<BusArguments, NSError> reply) { promise.set_value(std::move(reply)); });
  return result.get();
}

}  // namespace zelto
