#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/JsonFields.h"
#include "cli/Survey.h"
#include "cli/Text.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {

namespace {

NSDictionary described(const Survey& found) {
  NSDictionary object{{"domain", found.domain},
                      {"running", found.extensionServes() && found.hostServes()},
                      {"mounted", found.mount.has_value()}};
  if (found.record) {
    object.set("folder", found.record->folder);
    object.set("mountPoint", found.record->mountPoint);
  }
  if (found.extension) object.set("fileSystem", *found.extension);
  if (found.host) object.set("host", *found.host);
  return object;
}

const char* onOff(bool value) { return value ? "on" : "off"; }

void printExtension(const NSDictionary& status) {
  const auto count = [&status](const char* key) {
    return static_cast<std::uint64_t>(numberField(status, key));
  };
  fmt::print("  known    {} items, {} of them folders\n", count("items"), count("folders"));
  fmt::print("  here     {} in {} files\n", byteCount(count("materialisedBytes")),
             count("materialisedFiles"));
  fmt::print("  changes  {} pending, {} uploading, {} failed, {} conflicts\n", count("pending"),
             count("uploading"), count("failed"), count("conflicts"));
  fmt::print("  asked    {} requests in flight\n", count("requestsInFlight"));
}

void printHost(const NSDictionary& status) {
  fmt::print("  mode     my files {}, offline files {}\n", onOff(flagField(status, "useMyFiles")),
             onOff(flagField(status, "useOfflineFiles")));
  fmt::print("  sent     {}\n", byteCount(static_cast<std::uint64_t>(numberField(status, "bytesSent"))));
  fmt::print("  log      {}\n", printable(textField(status, "log")));
}

std::string processText(const std::optional<NSDictionary>& status) {
  return status ? fmt::format("process {}", numberField(*status, "pid")) : "not running";
}

void printSurvey(const Survey& found) {
  const bool connected = found.extension && flagField(*found.extension, "hostConnected");
  fmt::print("Zelto (domain {})\n", found.domain);
  fmt::print("  shares   {}\n  shown at {}{}\n", printable(found.record->folder),
             printable(found.record->mountPoint), found.mount ? "" : " (not mounted)");
  fmt::print("  programs file system: {}, host: {}{}\n", processText(found.extension),
             processText(found.host), found.extension && found.host && !connected ? " (not connected)" : "");
  if (found.extension) printExtension(*found.extension);
  if (found.host) printHost(*found.host);
}

}  // namespace

Outcome status(const NamedDomain& named, bool json) {
  const Survey found = survey(chosenDomain(named));
  if (json) {
    fmt::print("{}\n", NSJSONSerialization::stringWithValue(described(found), true).value_or("{}"));
  } else if (found.record) {
    printSurvey(found);
  }
  if (found.extensionServes() && found.hostServes()) return {};
  if (!found.extension && !found.host) {
    return failure(ExitCode::notRunning,
                   fmt::format("Zelto is not running. Start it with \"{} up\".", programName()));
  }
  return failure(ExitCode::failed,
                 fmt::format("The {} is not running. \"{} up\" starts it again.",
                             found.hostServes() ? "file system" : "host application", programName()));
}

}  // namespace zelto::cli
