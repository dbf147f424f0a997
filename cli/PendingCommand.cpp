#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/JsonAnswer.h"
#include "cli/PendingTable.h"
#include "cli/Survey.h"

namespace zelto::cli {

Outcome pending(const NamedDomain& domain, bool json) {
  const auto manager = managerFor(domain);
  if (!manager) return std::unexpected(manager.error());
  if (json) return printAnswer(*manager, "Pending", {});
  const auto changes = manager->value("Pending");
  if (!changes) return std::unexpected(changes.error());
  if (changes->asArray() == nullptr) return failure(ExitCode::failed, "The list is not understood.");
  const std::string table = pendingTable(*changes->asArray());
  fmt::print("{}", table.empty() ? "The server has everything.\n" : table);
  return {};
}

}  // namespace zelto::cli
