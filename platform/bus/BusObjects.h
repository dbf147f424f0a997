#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bus/BusHandles.h"
#include "platform/bus/BusTaskQueue.h"
#include "platform/bus/SessionBus.h"

namespace zelto {

// The objects that this connection offers, and the calls to them that have no answer yet. THREAD: the
// bus thread.
class BusObjects : public std::enable_shared_from_this<BusObjects> {
 public:
  BusObjects(sd_bus* bus, std::shared_ptr<BusTaskQueue> queue) : bus_(bus), queue_(std::move(queue)) {}
  BusObjects(const BusObjects&) = delete;
  BusObjects& operator=(const BusObjects&) = delete;

  // ERRORS: EINVAL for malformed names and signatures, EEXIST when path and interface are taken.
  std::optional<NSError> add(const std::string& path, BusInterface interface);
  // Answers the call with the number, if it still waits.
  void answer(std::uint64_t number, std::expected<BusArguments, NSError> result);
  // Forgets objects and calls: REQUIRES: the connection is about to close.
  void clear();

 private:
  struct Object {
    BusObjects* owner = nullptr;
    BusInterface interface;
    std::vector<sd_bus_vtable> table;  // points into `interface`
    BusSlot slot;
  };
  struct Call {
    BusMessage message;
    std::string outSignature;
  };

  static int called(sd_bus_message* message, void* userdata, sd_bus_error* error);
  int dispatch(const BusMethod& method, sd_bus_message* message, sd_bus_error* error);
  BusReply replyFor(const BusMethod& method, sd_bus_message* message);

  sd_bus* bus_;
  std::shared_ptr<BusTaskQueue> queue_;
  std::vector<std::unique_ptr<Object>> objects_;
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, Call> calls_;
};

}  // namespace zelto
