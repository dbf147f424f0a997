#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "cli/Outcome.h"
#include "platform/bus/SessionBus.h"
#include "platform/foundation/PropertyList.h"

namespace zelto::cli {

using Reply = std::expected<BusArguments, Failure>;

// Speaks to one of the two processes of a domain. BLOCKS: each call, until the reply or a few seconds.
class Client {
 public:
  // The framework's manager, and the host application.
  static Client manager(std::shared_ptr<SessionBus> bus, const std::string& domain);
  static Client host(std::shared_ptr<SessionBus> bus, const std::string& domain);

  // ERRORS: notRunning when nobody has the name, timedOut, failed with what the other side said.
  Reply call(const std::string& method, const std::string& signature = "", BusArguments arguments = {}) const;
  // A call whose reply is JSON: the text, and the text parsed.
  std::expected<std::string, Failure> text(const std::string& method, BusArguments arguments = {}) const;
  std::expected<PropertyListValue, Failure> value(const std::string& method,
                                                  BusArguments arguments = {}) const;
  // An object; the empty one when the reply is something else.
  std::expected<NSDictionary, Failure> object(const std::string& method, BusArguments arguments = {}) const;
  std::expected<NSDictionary, Failure> status() const { return object("Status"); }

  const SessionBus::Target& target() const { return target_; }
  const std::shared_ptr<SessionBus>& bus() const { return bus_; }

 private:
  Client(std::shared_ptr<SessionBus> bus, SessionBus::Target target, std::string what)
      : bus_(std::move(bus)), target_(std::move(target)), what_(std::move(what)) {}

  std::shared_ptr<SessionBus> bus_;
  SessionBus::Target target_;
  std::string what_;
};

}  // namespace zelto::cli
