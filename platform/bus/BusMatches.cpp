#include "platform/bus/BusMatches.h"

#include <cstdio>
#include <utility>

#include <fmt/format.h>

#include "platform/bus/BusMessage.h"

namespace zelto {

namespace {

// Without a callback for the answer the library closes the connection when the bus refuses a rule.
void reportRefusal(sd_bus_message* answer) {
  if (sd_bus_message_is_method_error(answer, nullptr) <= 0) return;
  fmt::print(stderr, "zelto: the message bus refuses a match rule: {}\n",
             errorFromBus(*sd_bus_message_get_error(answer)).localizedDescription());
}

int watchAnswered(sd_bus_message* message, void* /*userdata*/, sd_bus_error* /*error*/) {
  reportRefusal(message);
  return 1;
}

BusSlot addRule(sd_bus* bus, const std::string& rule, sd_bus_message_handler_t handler,
                sd_bus_message_handler_t answered, void* userdata) {
  sd_bus_slot* slot = nullptr;
  if (sd_bus_add_match_async(bus, &slot, rule.c_str(), handler, answered, userdata) < 0) return nullptr;
  return BusSlot(slot);
}

}  // namespace

std::optional<std::string> signalRule(const std::string& path, const std::string& interface,
                                      const std::string& name) {
  if (!path.empty() && sd_bus_object_path_is_valid(path.c_str()) <= 0) return std::nullopt;
  if (!interface.empty() && sd_bus_interface_name_is_valid(interface.c_str()) <= 0) return std::nullopt;
  if (!name.empty() && sd_bus_member_name_is_valid(name.c_str()) <= 0) return std::nullopt;
  std::string rule = "type='signal'";
  if (!path.empty()) rule += fmt::format(",path='{}'", path);
  if (!interface.empty()) rule += fmt::format(",interface='{}'", interface);
  if (!name.empty()) rule += fmt::format(",member='{}'", name);
  return rule;
}

void BusMatches::add(std::shared_ptr<BusMatch> match) {
  auto listening = std::make_unique<Listening>();
  listening->match = std::move(match);
  const BusMatch* key = listening->match.get();
  listening->slot =
      addRule(bus_, key->rule, &BusMatches::signalled, &BusMatches::ruleAnswered, listening.get());
  if (!listening->slot) listening->settle();
  matches_.emplace(key, std::move(listening));
}

void BusMatches::Listening::settle() {
  if (!std::exchange(isSettled, true)) match->settled.set_value();
}

int BusMatches::ruleAnswered(sd_bus_message* message, void* userdata, sd_bus_error* /*error*/) {
  reportRefusal(message);
  static_cast<Listening*>(userdata)->settle();
  return 1;
}

int BusMatches::signalled(sd_bus_message* message, void* userdata, sd_bus_error* /*error*/) {
  const std::shared_ptr<BusMatch> match = static_cast<const Listening*>(userdata)->match;
  auto arguments = readArguments(message);
  const char* sender = sd_bus_message_get_sender(message);
  if (arguments && match->wanted) match->handler(sender == nullptr ? "" : sender, std::move(*arguments));
  return 0;
}

// The rule goes out before the question, so no change between them is missed.
void BusMatches::add(std::shared_ptr<BusNameWatch> watch) {
  auto watching = std::make_unique<Watching>();
  watching->watch = std::move(watch);
  const BusNameWatch* key = watching->watch.get();
  if (sd_bus_service_name_is_valid(key->name.c_str()) > 0) {
    watching->changes =
        addRule(bus_,
                fmt::format("type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/"
                            "DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                            "arg0='{}'",
                            key->name),
                &BusMatches::ownerChanged, &watchAnswered, watching.get());
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(bus_, &slot, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetNameOwner", &BusMatches::ownerTold, watching.get(),
                             "s", key->name.c_str());
    watching->inquiry.reset(slot);
  }
  Watching& added = *watching;
  watches_.emplace(key, std::move(watching));
  if (!added.inquiry) report(added, false);
}

int BusMatches::ownerChanged(sd_bus_message* message, void* userdata, sd_bus_error* /*error*/) {
  auto& watching = *static_cast<Watching*>(userdata);
  const char *name = nullptr, *before = nullptr, *after = nullptr;
  if (sd_bus_message_read(message, "sss", &name, &before, &after) < 0) return 0;
  if (*before != '\0') report(watching, false);  // a replaced owner is lost too
  if (*after != '\0') report(watching, true);
  return 0;
}

int BusMatches::ownerTold(sd_bus_message* message, void* userdata, sd_bus_error* /*error*/) {
  report(*static_cast<Watching*>(userdata), sd_bus_message_is_method_error(message, nullptr) <= 0);
  return 1;
}

void BusMatches::report(Watching& watching, bool present) {
  if (watching.present == present) return;
  watching.present = present;
  const std::shared_ptr<BusNameWatch> watch = watching.watch;
  if (watch->wanted) watch->handler(present);
}

void BusMatches::lost() {
  for (auto& [key, watching] : watches_) report(*watching, false);
}

void BusMatches::clear() {
  for (auto& [key, listening] : matches_) listening->settle();
  matches_.clear();
  watches_.clear();
}

}  // namespace zelto
