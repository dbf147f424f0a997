#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <thread>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/stat.h>

#include "cli/Commands.h"
#include "cli/JsonAnswer.h"
#include "cli/JsonFields.h"
#include "cli/MountPoint.h"
#include "cli/Survey.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

// The paths as the manager knows them. It knows what somebody has looked at; a look waits for it, without a
// limit, so there is none where it does not answer.
std::vector<BusBytes> resolved(const Client& manager, const std::vector<std::string>& paths) {
  const bool answers = manager.value("AllActions").has_value();
  std::vector<BusBytes> all;
  for (const std::string& path : paths) {
    all.push_back({resolvedPath(path)});
    struct stat looked;
    if (answers) ::lstat(all.back().bytes.c_str(), &looked);
  }
  return all;
}

// The last part of an identifier, which is what people type.
std::string shortName(const std::string& identifier) {
  const auto dot = identifier.rfind('.');
  return dot == std::string::npos ? identifier : identifier.substr(dot + 1);
}

bool isSameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(
      a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

std::vector<NSDictionary> entries(const PropertyListValue& list) {
  std::vector<NSDictionary> all;
  if (list.asArray() == nullptr) return all;
  for (const PropertyListValue& entry : *list.asArray()) {
    if (entry.asDictionary() != nullptr) all.push_back(*entry.asDictionary());
  }
  return all;
}

// The identifier of an action that is called by it, by its last part or by its title.
std::expected<std::string, Failure> identifierOf(const Client& manager, const std::string& name) {
  const auto all = manager.value("AllActions");
  if (!all) return std::unexpected(all.error());
  std::vector<std::string> names;
  for (const NSDictionary& action : entries(*all)) {
    const std::string identifier = textField(action, "identifier");
    names.push_back(shortName(identifier));
    if (identifier == name || isSameName(names.back(), name) || textField(action, "title") == name) {
      return identifier;
    }
  }
  return std::unexpected(Failure{ExitCode::failed, fmt::format("There is no action \"{}\"; there are {}.",
                                                               printable(name), fmt::join(names, ", "))});
}

double timeOfNotice(const Client& host) {
  const auto notice = host.object("LastNotice");
  return notice ? realField(*notice, "shown") : 0;
}

// What the host shows on the desktop, if the action has it show something.
void printNotice(const Client& host, double before) {
  using std::chrono::milliseconds;
  for (int tries = 0; tries < 20; ++tries, std::this_thread::sleep_for(milliseconds(25))) {
    const auto notice = host.object("LastNotice");
    if (!notice) return;
    if (realField(*notice, "shown") <= before) continue;
    fmt::print("{}\n{}\n", printable(textField(*notice, "title")), textField(*notice, "text"));
    return;
  }
}

// Their result is a notification; all others change something that can be looked at.
bool isAnsweredByNotice(const std::string& identifier) {
  const std::string name = shortName(identifier);
  return isSameName(name, "ShowCustomFields") || isSameName(name, "CheckoutStatus");
}

Outcome performOn(const Client& manager, const std::string& action, const std::vector<std::string>& paths) {
  const auto done = manager.call("Perform", "saay", {action, resolved(manager, paths)});
  if (!done) return std::unexpected(done.error());
  return {};
}

void printBadges(const NSDictionary& state, const std::string& path) {
  if (!flagField(state, "known")) return fmt::print("{}: no such item\n", printable(path));
  std::vector<std::string> badges;
  const auto* list = state.find("decorations");
  if (list != nullptr && list->asArray() != nullptr) {
    for (const PropertyListValue& each : *list->asArray()) {
      if (each.asString() != nullptr) badges.push_back(shortName(*each.asString()));
    }
  }
  const std::string reason = textField(state, "reason");
  fmt::print("{}: {}; {}{}\n", printable(path),
             badges.empty() ? "no badge" : fmt::format("{}", fmt::join(badges, ", ")),
             textField(state, "state"), reason.empty() ? "" : fmt::format(" ({})", printable(reason)));
}

}  // namespace

Outcome actions(const ActionsOptions& options, const NamedDomain& named, bool json) {
  const auto manager = managerFor(named, options.paths.front());
  if (!manager) return std::unexpected(manager.error());
  if (json) return printAnswer(*manager, "Actions", {resolved(*manager, options.paths)});
  const auto offered = manager->value("Actions", {resolved(*manager, options.paths)});
  if (!offered) return std::unexpected(offered.error());
  for (const NSDictionary& action : entries(*offered)) {
    fmt::print("{:<22} {}\n", shortName(textField(action, "identifier")),
               printable(textField(action, "title")));
  }
  return {};
}

Outcome perform(const DoOptions& options, const NamedDomain& named) {
  const auto manager = managerFor(named, options.paths.front());
  if (!manager) return std::unexpected(manager.error());
  const auto identifier = identifierOf(*manager, options.action);
  if (!identifier) return std::unexpected(identifier.error());
  if (!isAnsweredByNotice(*identifier)) return performOn(*manager, *identifier, options.paths);
  const Client host = Client::host(manager->bus(), chosenDomain(named, options.paths.front()));
  for (const std::string& path : options.paths) {
    const double before = timeOfNotice(host);
    if (auto outcome = performOn(*manager, *identifier, {path}); !outcome) return outcome;
    printNotice(host, before);
  }
  return {};
}

Outcome badges(const BadgesOptions& options, const NamedDomain& named, bool json) {
  const auto manager = managerFor(named, options.paths.front());
  if (!manager) return std::unexpected(manager.error());
  if (json) return printAnswer(*manager, "ItemStates", {resolved(*manager, options.paths)});
  const auto states = manager->value("ItemStates", {resolved(*manager, options.paths)});
  if (!states) return std::unexpected(states.error());
  const auto list = entries(*states);
  for (std::size_t at = 0; at < std::min(list.size(), options.paths.size()); ++at) {
    printBadges(list[at], options.paths[at]);
  }
  return {};
}

}  // namespace zelto::cli
