#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/Client.h"
#include "cli/Mounts.h"
#include "cli/Options.h"
#include "cli/RunRecord.h"

namespace zelto::cli {

// What is found of a domain: what `up` has recorded, and who answers.
struct Survey {
  std::string domain;
  std::shared_ptr<SessionBus> bus;        // null when there is none
  std::optional<RunRecord> record;        // also made up from the answers, when the file is lost
  std::optional<NSDictionary> extension;  // the answers to Status
  std::optional<NSDictionary> host;
  std::optional<Mount> mount;  // ours, at the recorded place

  // The file system is served: somebody answers, and the mount is there.
  bool extensionServes() const { return extension.has_value() && mount.has_value(); }
  bool hostServes() const { return host.has_value(); }
};

// BLOCKS: five seconds for each side that does not answer.
Survey survey(const std::string& domain);

// The domain that a command means: the named one, else the one whose mount has the path, else the only one
// that is recorded, else the default.
std::string chosenDomain(const std::optional<std::string>& named, const std::string& path = "");
// The bus on which the domain runs. ERRORS: notRunning.
std::expected<std::shared_ptr<SessionBus>, Failure> busOf(const std::string& domain);
// The manager of the domain that a command means. ERRORS: notRunning.
std::expected<Client, Failure> managerFor(const std::optional<std::string>& named,
                                          const std::string& path = "");

}  // namespace zelto::cli
