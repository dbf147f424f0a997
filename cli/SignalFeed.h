#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/Client.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto::cli {

// Ctrl-C as something to wait for. REQUIRES: made before any other thread of the process, which could take
// the signal instead.
class Interrupt {
 public:
  Interrupt();
  int descriptor() const { return descriptor_.get(); }
  // What has come is told no more. REQUIRES: there is something.
  void take() const;

 private:
  UniqueDescriptor descriptor_;
};

// What the manager says of itself while a command waits. THREAD: the one that made it.
class SignalFeed {
 public:
  struct Event {
    std::string name;  // of the signal; empty for a reply that was asked for with `expect`
    BusArguments arguments;
    std::optional<NSError> error = {};  // of a reply
  };
  enum class Wake : std::uint8_t { event, lost, interrupted, timedOut };
  using Time = std::chrono::steady_clock::time_point;

  // Hears the named signals from here on. OWNER: the interrupt outlives the feed.
  SignalFeed(const Client& manager, const std::vector<std::string>& names, const Interrupt& interrupt);

  // Makes a call whose reply may take as long as it likes, and comes as an event.
  void expect(const Client& manager, const std::string& method, const std::string& signature,
              BusArguments arguments);
  // BLOCKS: until there are events (which come before the loss of the manager), a signal of the user, or the
  // time.
  Wake wait(std::optional<Time> until = {});
  std::vector<Event> take();

 private:
  class Queue;

  const Interrupt& interrupt_;
  std::shared_ptr<Queue> queue_;
  std::vector<std::shared_ptr<void>> watches_;
};

// Whether a signal's arguments are of these types.
template <typename... Types>
bool holds(const BusArguments& arguments) {
  std::size_t index = 0;
  return arguments.size() == sizeof...(Types) && (std::holds_alternative<Types>(arguments[index++]) && ...);
}

}  // namespace zelto::cli
