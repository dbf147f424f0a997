#include "platform/bus/BusOpen.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <fmt/format.h>
#include <poll.h>

#include "platform/bus/BusAddress.h"

namespace zelto {

namespace {

constexpr std::uint64_t kMicroseconds = 1'000'000;
constexpr std::uint64_t kHelloTimeout = 10 * kMicroseconds;

NSError refusal(int negative) { return errorWithPOSIXCode(-negative, std::strerror(-negative)); }

int start(sd_bus* bus, const std::string& address) {
  int result = sd_bus_set_address(bus, address.c_str());
  if (result >= 0) result = sd_bus_set_bus_client(bus, 1);
  if (result >= 0) result = sd_bus_negotiate_fds(bus, 1);
  // A session bus admits this user only, so there is nobody to keep out of single methods.
  if (result >= 0) result = sd_bus_set_trusted(bus, 1);
  return result < 0 ? result : sd_bus_start(bus);
}

int waitUntilReady(sd_bus* bus) {
  const std::uint64_t latest = monotonicMicroseconds() + kHelloTimeout;
  while (true) {
    const int ready = sd_bus_is_ready(bus);
    if (ready != 0) return ready < 0 ? ready : 0;
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0) return processed;
    if (processed > 0) continue;
    if (monotonicMicroseconds() >= latest) return -ETIMEDOUT;
    waitForBus(bus, -1, latest);
  }
}

}  // namespace

std::uint64_t monotonicMicroseconds() {
  std::timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kMicroseconds +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

void waitForBus(sd_bus* bus, int wake, std::uint64_t latest) {
  std::uint64_t timeout = UINT64_MAX;
  const int events = sd_bus_get_events(bus);
  if (events < 0 || sd_bus_get_timeout(bus, &timeout) < 0) return;
  timeout = std::min(timeout, latest);
  const std::uint64_t now = monotonicMicroseconds();
  const std::uint64_t left = timeout > now ? timeout - now : 0;
  const std::timespec limit{static_cast<std::time_t>(left / kMicroseconds),
                            static_cast<long>(left % kMicroseconds * 1000)};
  pollfd files[] = {{sd_bus_get_fd(bus), static_cast<short>(events), 0}, {wake, POLLIN, 0}};
  ::ppoll(files, 2, timeout == UINT64_MAX ? nullptr : &limit, nullptr);
}

std::expected<BusHandle, NSError> openBus(const std::string& address) {
  sd_bus* raw = nullptr;
  if (const int result = sd_bus_new(&raw); result < 0) return std::unexpected(refusal(result));
  BusHandle bus(raw);
  int result = start(raw, address);
  if (result >= 0) result = waitUntilReady(raw);
  if (result < 0) return std::unexpected(refusal(result));
  return bus;
}

std::expected<BusHandle, NSError> openSessionBus() {
  std::string tried;
  for (const BusCandidate& candidate : busCandidates()) {
    auto bus = openBus(candidate.address);
    if (bus) return bus;
    tried += fmt::format("\n  {} (from {}): {}", candidate.address, candidate.origin,
                         bus.error().localizedDescription());
  }
  if (tried.empty()) tried = "\n  no address is known: DBUS_SESSION_BUS_ADDRESS is not set";
  return std::unexpected(errorWithPOSIXCode(
      ENOTCONN,
      fmt::format("No session message bus can be reached. \"zelto up\" starts one; inside a desktop "
                  "session it is there already.{}",
                  tried)));
}

}  // namespace zelto
