#pragma once

#include <memory>

#include <systemd/sd-bus.h>

namespace zelto {

// OWNER: one reference to an object of the library each. THREAD: the bus thread, as the library's
// reference counts are not for several threads.
struct BusRelease {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusHandle = std::unique_ptr<sd_bus, BusRelease>;
using BusSlot = std::unique_ptr<sd_bus_slot, BusRelease>;
using BusMessage = std::unique_ptr<sd_bus_message, BusRelease>;

}  // namespace zelto
