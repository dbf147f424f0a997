#include "cli/Survey.h"

#include <fmt/format.h>

#include "cli/BusStart.h"
#include "cli/JsonFields.h"
#include "cli/MountPoint.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

std::optional<NSDictionary> answer(const Client& client) {
  auto status = client.status();
  return status ? std::optional(std::move(*status)) : std::nullopt;
}

ProcessIdentity processOf(const std::optional<NSDictionary>& status) {
  if (!status) return {};
  return identityOf(static_cast<pid_t>(numberField(*status, "pid"))).value_or(ProcessIdentity{});
}

// Somebody has started the programs by hand, or the record was lost.
std::optional<RunRecord> recordFromAnswers(const Survey& found) {
  if (!found.extension && !found.host) return std::nullopt;
  RunRecord record;
  record.domain = found.domain;
  if (found.host) record.folder = textField(*found.host, "folder");
  if (found.extension) record.mountPoint = textField(*found.extension, "mountPoint");
  return record;
}

bool isAtOrBelow(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder + "/");
}

}  // namespace

Survey survey(const std::string& domain) {
  Survey found;
  found.domain = domain;
  found.record = loadRunRecord(domain);
  if (found.record) preferBus(found.record->busAddress);
  if (auto bus = SessionBus::connect()) {
    found.bus = std::move(*bus);
    found.extension = answer(Client::manager(found.bus, domain));
    found.host = answer(Client::host(found.bus, domain));
  }
  if (!found.record) found.record = recordFromAnswers(found);
  if (!found.record) return found;
  if (found.extension) found.record->extension = processOf(found.extension);
  if (found.host) found.record->host = processOf(found.host);
  if (auto mount = mountAt(found.record->mountPoint); mount && mount->isOurs())
    found.mount = std::move(mount);
  return found;
}

std::string chosenDomain(const std::optional<std::string>& named, const std::string& path) {
  if (named) return *named;
  const std::vector<std::string> domains = recordedDomains();
  if (!path.empty()) {
    const std::string place = resolvedPath(path);
    for (const std::string& domain : domains) {
      const auto record = loadRunRecord(domain);
      if (record && isAtOrBelow(place, record->mountPoint)) return domain;
    }
  }
  return domains.size() == 1 ? domains[0] : kDefaultDomain;
}

std::expected<std::shared_ptr<SessionBus>, Failure> busOf(const std::string& domain) {
  if (const auto record = loadRunRecord(domain)) preferBus(record->busAddress);
  auto bus = SessionBus::connect();
  if (bus) return std::move(*bus);
  return failure(ExitCode::notRunning,
                 fmt::format("Zelto is not running. Start it with \"{} up\".", programName()));
}

std::expected<Client, Failure> managerFor(const std::optional<std::string>& named, const std::string& path) {
  const std::string domain = chosenDomain(named, path);
  auto bus = busOf(domain);
  if (!bus) return std::unexpected(bus.error());
  return Client::manager(std::move(*bus), domain);
}

}  // namespace zelto::cli
