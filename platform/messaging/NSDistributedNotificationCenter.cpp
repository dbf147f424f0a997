#include "platform/messaging/NSDistributedNotificationCenter.h"

#include <cstdlib>
#include <mutex>
#include <variant>

#include "platform/bus/SessionBus.h"

namespace zelto {

namespace {

const std::string kPath = "/it/pellam/Zelto/DistributedNotificationCenter";
const std::string kInterface = "it.pellam.Zelto.DistributedNotificationCenter";
const std::string kMember = "Notification";

class BusNotificationCenter final : public NSDistributedNotificationCenter {
 public:
  void postNotification(const std::string& name, const std::string& object) override {
    if (auto bus = connect()) bus->emitSignal(kPath, kInterface, kMember, "ss", {name, object});
  }

  std::shared_ptr<void> addObserver(const std::string& name,
                                    std::function<void(const std::string& object)> observer) override {
    auto bus = connect();
    if (!bus) return std::make_shared<std::monostate>();
    return bus->matchSignal(
        kPath, kInterface, kMember,
        [name, observer = std::move(observer)](const std::string&, const BusArguments& arguments) {
          deliver(name, observer, arguments);
        });
  }

  // Lets go of the bus for good; posting does nothing from then on.
  void end() {
    std::shared_ptr<SessionBus> bus;
    std::scoped_lock lock(mutex_);
    ended_ = true;
    bus.swap(bus_);
  }

 private:
  // Anybody on the bus may send such a signal, with any arguments.
  static void deliver(const std::string& name, const std::function<void(const std::string&)>& observer,
                      const BusArguments& arguments) {
    if (arguments.size() != 2) return;
    auto* sent = std::get_if<std::string>(&arguments[0]);
    auto* object = std::get_if<std::string>(&arguments[1]);
    if (sent != nullptr && object != nullptr && *sent == name) observer(*object);
  }

  // Tried again at the next use where there was no bus.
  std::shared_ptr<SessionBus> connect() {
    std::scoped_lock lock(mutex_);
    if (!bus_ && !ended_) bus_ = SessionBus::connect().value_or(nullptr);
    return bus_;
  }

  std::mutex mutex_;
  std::shared_ptr<SessionBus> bus_;
  bool ended_ = false;
};

BusNotificationCenter& sharedCenter() {
  // Never destroyed: other threads may still post while the process ends. Only the bus and its thread go.
  static BusNotificationCenter* const center = [] {
    auto* made = new BusNotificationCenter;
    std::atexit([] { sharedCenter().end(); });
    return made;
  }();
  return *center;
}

}  // namespace

NSDistributedNotificationCenter& NSDistributedNotificationCenter::defaultCenter() { return sharedCenter(); }

}  // namespace zelto
