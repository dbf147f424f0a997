#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "platform/bus/BusHandles.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

// A method call on its way to somebody else.
struct BusOutgoingCall {
  SessionBus::Target target;
  std::string method;
  std::string signature;
  BusArguments arguments;
  std::uint64_t timeoutMicroseconds = 0;
  std::move_only_function<void(std::expected<BusArguments, NSError>)> completion;
};

// The calls that wait for their reply. THREAD: the bus thread.
class BusCalls {
 public:
  explicit BusCalls(sd_bus* bus) : bus_(bus) {}
  BusCalls(const BusCalls&) = delete;
  BusCalls& operator=(const BusCalls&) = delete;

  // COMPLETES: the call's completion, once. ERRORS: EINVAL for a malformed call, EAGAIN when too many wait.
  void send(BusOutgoingCall call);
  // Completes every waiting call with the error.
  void failAll(const NSError& error);

 private:
  struct Waiting {
    BusCalls* owner = nullptr;
    std::uint64_t number = 0;
    BusSlot slot;
    BusOutgoingCall call;
  };

  static int replied(sd_bus_message* reply, void* userdata, sd_bus_error* error);
  std::optional<NSError> start(Waiting& waiting);

  sd_bus* bus_;
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, std::unique_ptr<Waiting>> waiting_;
};

}  // namespace zelto
