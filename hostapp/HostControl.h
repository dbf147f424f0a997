#pragma once

#include <atomic>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "hostapp/HostStore.h"
#include "hostapp/ItemActions.h"
#include "platform/bus/SessionBus.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// The host's control interface on the session bus (platform/bus/ManagerInterface.h).
// THREAD: the actions run one after the other on a queue of their own.
class HostControl {
 public:
  struct Actions {
    std::function<std::string()> status;
    std::function<void(HostMode)> setMode;
    std::function<std::optional<NSError>(MarkKind, bool add, const std::string& identifier)> mark;
    std::shared_ptr<ItemActions> items;
    std::function<std::string()> lastNotice;
    std::function<void()> shutdown;
  };
  // ERRORS: the domain has a host already.
  static std::expected<std::unique_ptr<HostControl>, NSError> make(std::shared_ptr<SessionBus> bus,
                                                                   const std::string& domain,
                                                                   Actions actions);
  // BLOCKS: until the action that is running has ended; no other begins.
  ~HostControl();

 private:
  // The bus keeps it for as long as the bus lives.
  struct State {
    explicit State(Actions a) : actions(std::move(a)) {}
    const Actions actions;
    std::atomic<bool> open = true;
    DispatchQueue queue{"it.pellam.Zelto.Host.control"};
  };
  using Work = std::function<std::expected<BusArguments, NSError>(const Actions&, const BusArguments&)>;
  static BusMethod method(const std::shared_ptr<State>& state, std::string name, std::string in,
                          std::string out, Work work);
  static BusInterface interfaceOf(const std::shared_ptr<State>& state);
  static void addItemMethods(const std::shared_ptr<State>& state, BusInterface& interface);
  static BusMethod markMethod(const std::shared_ptr<State>& state, std::string name, MarkKind kind, bool add);

  explicit HostControl(std::shared_ptr<State> state) : state_(std::move(state)) {}
  const std::shared_ptr<State> state_;
};

}  // namespace zelto
