#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/JsonFields.h"
#include "cli/Survey.h"

namespace zelto::cli {

namespace {

const char* onOff(bool value) { return value ? "on" : "off"; }

}  // namespace

Outcome mode(const ModeOptions& options, const NamedDomain& named) {
  const std::string domain = chosenDomain(named);
  auto bus = busOf(domain);
  if (!bus) return std::unexpected(bus.error());
  const Client host = Client::host(std::move(*bus), domain);
  const auto present = host.status();
  if (!present) return std::unexpected(present.error());
  const bool myFiles = options.myFiles.value_or(flagField(*present, "useMyFiles"));
  const bool offlineFiles = options.offlineFiles.value_or(flagField(*present, "useOfflineFiles"));
  if (const auto reply = host.call("SetMode", "bb", {myFiles, offlineFiles}); !reply) {
    return std::unexpected(reply.error());
  }
  // A host that has to be started again gets the same mode.
  if (auto record = loadRunRecord(domain)) {
    record->myFiles = myFiles;
    record->offlineFiles = offlineFiles;
    if (auto saved = saveRunRecord(*record); !saved) return saved;
  }
  fmt::print("My files {}, offline files {}.\n", onOff(myFiles), onOff(offlineFiles));
  return {};
}

}  // namespace zelto::cli
