#include "hostapp/HostControl.h"

#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto {

namespace {

std::expected<BusArguments, NSError> answer(const std::optional<NSError>& error) {
  if (error) return std::unexpected(*error);
  return BusArguments();
}

std::string textAt(const BusArguments& arguments, std::size_t at) {
  return std::get<std::string>(arguments[at]);
}

std::string jsonOf(const NSDictionary& dictionary) {
  return NSJSONSerialization::stringWithValue(dictionary, false).value_or("{}");
}

std::expected<BusArguments, NSError> customFields(const HostControl::Actions& actions,
                                                  const BusArguments& arguments) {
  const auto fields = actions.items->customFields(textAt(arguments, 0));
  if (!fields) return std::unexpected(fields.error());
  NSDictionary json;
  for (const auto& [name, value] : *fields) json.set(name, value);
  return BusArguments{jsonOf(json)};
}

std::expected<BusArguments, NSError> checkoutStatus(const HostControl::Actions& actions,
                                                    const BusArguments& arguments) {
  const auto found = actions.items->checkout(textAt(arguments, 0));
  if (!found) return std::unexpected(found.error());
  if (!*found) return BusArguments{std::string("{}")};
  const auto& held = **found;
  return BusArguments{jsonOf({{"user", held.user},
                              {"since", held.since.timeIntervalSince1970()},
                              {"own", held.own},
                              {"label", checkoutLabel(held)}})};
}

}  // namespace

HostControl::~HostControl() {
  state_->open = false;
  state_->queue.drain();
}

BusMethod HostControl::method(const std::shared_ptr<State>& state, std::string name, std::string in,
                              std::string out, Work work) {
  return {std::move(name), std::move(in), std::move(out), [state, work](BusMethodCall call, BusReply reply) {
            state->queue.async([state = state.get(), work, arguments = std::move(call.arguments),
                                done = std::move(reply)]() mutable {
              if (state->open) done(work(state->actions, arguments));
            });
          }};
}

BusMethod HostControl::markMethod(const std::shared_ptr<State>& state, std::string name, MarkKind kind,
                                  bool add) {
  return method(state, std::move(name), "s", "",
                [kind, add](const Actions& actions, const BusArguments& arguments) {
                  return answer(actions.mark(kind, add, std::get<std::string>(arguments.front())));
                });
}

BusInterface HostControl::interfaceOf(const std::shared_ptr<State>& state) {
  const auto status = [](const Actions& actions, const BusArguments&) {
    return BusArguments{actions.status()};
  };
  const auto setMode = [](const Actions& actions, const BusArguments& arguments) {
    actions.setMode({std::get<bool>(arguments[0]), std::get<bool>(arguments[1])});
    return BusArguments();
  };
  const auto shutdown = [](const Actions& actions, const BusArguments&) {
    actions.shutdown();
    return BusArguments();
  };
  BusInterface interface {
    std::string(hostcontrol::kInterface), {}, {}
  };
  interface.methods.push_back(method(state, "Status", "", "s", status));
  interface.methods.push_back(method(state, "SetMode", "bb", "", setMode));
  interface.methods.push_back(markMethod(state, "AddBookmark", MarkKind::bookmark, true));
  interface.methods.push_back(markMethod(state, "RemoveBookmark", MarkKind::bookmark, false));
  interface.methods.push_back(markMethod(state, "MakeOffline", MarkKind::offline, true));
  interface.methods.push_back(markMethod(state, "RemoveOffline", MarkKind::offline, false));
  interface.methods.push_back(method(state, "Shutdown", "", "", shutdown));
  addItemMethods(state, interface);
  return interface;
}

void HostControl::addItemMethods(const std::shared_ptr<State>& state, BusInterface& interface) {
  const auto add = [&](const char* name, const char* in, const char* out, Work work) {
    interface.methods.push_back(method(state, name, in, out, std::move(work)));
  };
  add("CustomFields", "s", "s", customFields);
  add("CheckoutStatus", "s", "s", checkoutStatus);
  add("SetCustomField", "sss", "", [](const Actions& actions, const BusArguments& a) {
    return answer(actions.items->setCustomField(textAt(a, 0), textAt(a, 1), textAt(a, 2)));
  });
  add("CheckOut", "s", "", [](const Actions& actions, const BusArguments& a) {
    return answer(actions.items->checkOut(textAt(a, 0)));
  });
  add("CheckIn", "s", "", [](const Actions& actions, const BusArguments& a) {
    return answer(actions.items->checkIn(textAt(a, 0)));
  });
  add("LastNotice", "", "s",
      [](const Actions& actions, const BusArguments&) { return BusArguments{actions.lastNotice()}; });
}

std::expected<std::unique_ptr<HostControl>, NSError> HostControl::make(std::shared_ptr<SessionBus> bus,
                                                                       const std::string& domain,
                                                                       Actions actions) {
  auto state = std::make_shared<State>(std::move(actions));
  std::unique_ptr<HostControl> control(new HostControl(state));
  auto error = bus->exportObject(hostcontrol::objectPath(domain), interfaceOf(state));
  if (!error) error = bus->requestName(hostcontrol::busName(domain));
  if (error) return std::unexpected(*error);
  return control;
}

}  // namespace zelto
