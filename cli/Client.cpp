#include "cli/Client.h"

#include <cerrno>

#include <fmt/format.h>

#include "cli/Text.h"
#include "platform/bus/ManagerInterface.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {

namespace {

constexpr std::uint64_t kLimit = 5'000'000;

Failure explained(const NSError& error, const std::string& what) {
  const bool ours = error.domain() == NSPOSIXErrorDomain;
  if (ours && (error.code() == EHOSTUNREACH || error.code() == ENXIO)) {
    return {ExitCode::notRunning,
            fmt::format("{} is not running. Start it with \"{} up\".", what, programName())};
  }
  if (ours && error.code() == ETIMEDOUT) {
    return {ExitCode::timedOut,
            fmt::format("{0} does not answer. \"{1} log\" may say why; \"{1} down\" ends it.", what,
                        programName())};
  }
  return {ExitCode::failed, error.localizedDescription()};
}

// Of the calls that are answered by a text: nothing, a path, or several.
std::string signatureOf(const BusArguments& arguments) {
  if (arguments.empty()) return "";
  return std::holds_alternative<BusBytes>(arguments.front()) ? "ay" : "aay";
}

}  // namespace

Client Client::manager(std::shared_ptr<SessionBus> bus, const std::string& domain) {
  return {std::move(bus),
          {manager::busName(domain), manager::objectPath(domain), std::string(manager::kInterface)},
          "The file system"};
}

Client Client::host(std::shared_ptr<SessionBus> bus, const std::string& domain) {
  return {
      std::move(bus),
      {hostcontrol::busName(domain), hostcontrol::objectPath(domain), std::string(hostcontrol::kInterface)},
      "The host application"};
}

Reply Client::call(const std::string& method, const std::string& signature, BusArguments arguments) const {
  auto reply = bus_->callAndWait(target_, method, signature, std::move(arguments), kLimit);
  if (!reply) return std::unexpected(explained(reply.error(), what_));
  return std::move(*reply);
}

std::expected<std::string, Failure> Client::text(const std::string& method, BusArguments arguments) const {
  const std::string signature = signatureOf(arguments);
  auto reply = call(method, signature, std::move(arguments));
  if (!reply) return std::unexpected(reply.error());
  if (reply->size() == 1) {
    if (auto* text = std::get_if<std::string>(reply->data())) return std::move(*text);
  }
  return failure(ExitCode::failed,
                 fmt::format("{} answers {} in a way that is not understood.", what_, method));
}

std::expected<PropertyListValue, Failure> Client::value(const std::string& method,
                                                        BusArguments arguments) const {
  const auto json = text(method, std::move(arguments));
  if (!json) return std::unexpected(json.error());
  auto parsed = NSJSONSerialization::valueWithString(*json);
  if (parsed) return std::move(*parsed);
  return failure(ExitCode::failed, fmt::format("{}: {}", method, parsed.error().localizedDescription()));
}

std::expected<NSDictionary, Failure> Client::object(const std::string& method, BusArguments arguments) const {
  const auto parsed = value(method, std::move(arguments));
  if (!parsed) return std::unexpected(parsed.error());
  return parsed->asDictionary() == nullptr ? NSDictionary() : *parsed->asDictionary();
}

}  // namespace zelto::cli
