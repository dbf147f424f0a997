#include "framework/manager/ItemStates.h"

#include "framework/manager/Answers.h"
#include "platform/foundation/NSURL.h"

namespace zelto {
namespace {

constexpr std::string_view kScheme = "file://";
constexpr std::string_view kFailed = "failed: ";

NSDictionary withPath(const std::string& path, bool known) {
  // The text has to be UTF-8, which a name need not be.
  return {{"path", NSURL::fileURL(path).absoluteString().substr(kScheme.size())}, {"known", known}};
}

}  // namespace

NSDictionary ItemStates::unknown(const std::string& path) { return withPath(path, false); }

const ItemStates::Shared& ItemStates::sharedOf(const NodeInfo& node) {
  const auto [at, isNew] = shared_.try_emplace(node.traits);
  if (!isNew) return at->second;
  const auto traits = replica_.traits(node.traits);
  if (!traits) return at->second;
  for (const std::string& decoration : traits->decorations) at->second.decorations.emplace_back(decoration);
  for (const ItemAction& action : catalogue_.actionsFor({traits->userInfo})) {
    at->second.actions.emplace_back(action.identifier);
  }
  return at->second;
}

const char* ItemStates::materialised(const NodeInfo& node) const {
  if (node.kind != NodeKind::file) return "full";
  std::uint64_t bytes = 0;
  for (const NSRange range : replica_.materialisedRanges(node.inode)) bytes += range.length;
  return bytes >= node.size ? "full" : bytes > 0 ? "partial" : "none";
}

NSDictionary ItemStates::describe(const NodeInfo& node, const std::string& path) {
  const Shared& shared = sharedOf(node);
  const std::string state = propagator_.stateText(node);
  const bool failed = state.starts_with(kFailed);
  NSDictionary description = withPath(path, true);
  description.set("identifier", readable(replica_.identifier(node.inode)));
  description.set("decorations", shared.decorations);
  description.set("actions", shared.actions);
  description.set("state", failed ? std::string("failed") : state);
  description.set("reason", failed ? readable(state.substr(kFailed.size())) : std::string());
  description.set("materialised", materialised(node));
  return description;
}

}  // namespace zelto
