#include <algorithm>
#include <cerrno>

#include <fmt/format.h>

#include "framework/manager/Answers.h"
#include "framework/manager/ItemStates.h"
#include "framework/manager/Manager.h"

namespace zelto {
namespace {

const std::vector<BusBytes>& pathsArgument(const BusMethodCall& call, std::size_t index) {
  return std::get<std::vector<BusBytes>>(call.arguments[index]);
}

NSArray listOf(const std::vector<ItemAction>& actions) {
  NSArray list;
  for (const ItemAction& action : actions) {
    list.emplace_back(NSDictionary{{"identifier", action.identifier}, {"title", action.title}});
  }
  return list;
}

bool isAmong(const std::vector<ItemAction>& actions, const std::string& identifier) {
  return std::ranges::find(actions, identifier, &ItemAction::identifier) != actions.end();
}

}  // namespace

std::expected<std::vector<NodeInfo>, NSError> Manager::knownNodes(const std::vector<BusBytes>& paths) const {
  std::vector<NodeInfo> nodes;
  for (const BusBytes& path : paths) {
    auto node = knownNode(path.bytes);
    if (!node) return std::unexpected(std::move(node.error()));
    nodes.push_back(*node);
  }
  return nodes;
}

std::vector<ItemAction> Manager::offeredFor(const std::vector<NodeInfo>& nodes) const {
  std::vector<NSDictionary> userInfos;
  for (const NodeInfo& node : nodes) {
    const auto traits = parts_.volume.replica().traits(node.traits);
    userInfos.push_back(traits ? traits->userInfo : NSDictionary());
  }
  return parts_.catalogue.actionsFor(userInfos);
}

void Manager::allActions(BusMethodCall, BusReply reply) {
  replyJson(reply, listOf(parts_.catalogue.actions()));
}

void Manager::actions(BusMethodCall call, BusReply reply) {
  const auto nodes = knownNodes(pathsArgument(call, 0));
  if (!nodes) return replyJson(reply, NSArray());
  replyJson(reply, listOf(offeredFor(*nodes)));
}

std::optional<NSError> Manager::reasonAgainst(const std::string& action,
                                              const std::vector<NodeInfo>& nodes) const {
  if (!isAmong(parts_.catalogue.actions(), action)) {
    return errorWithPOSIXCode(ENOENT, fmt::format("there is no action named {}", readable(action)));
  }
  if (nodes.empty()) return errorWithPOSIXCode(EINVAL, "no item is given");
  if (!isAmong(offeredFor(nodes), action)) {
    const char* const what = nodes.size() == 1 ? "this item" : "these items together";
    return errorWithPOSIXCode(EPERM, fmt::format("{} is not offered for {}", action, what));
  }
  if (parts_.volume.lister().sending()) return std::nullopt;
  return errorWithPOSIXCode(EHOSTDOWN, "no host application is connected");
}

void Manager::perform(BusMethodCall call, BusReply reply) {
  const std::string& action = stringArgument(call, 0);
  const auto nodes = knownNodes(pathsArgument(call, 1));
  if (!nodes) return reply(std::unexpected(nodes.error()));
  if (auto error = reasonAgainst(action, *nodes)) return reply(std::unexpected(*std::move(error)));
  std::vector<std::string> identifiers;
  for (const NodeInfo& node : *nodes) {
    identifiers.push_back(parts_.volume.replica().identifier(node.inode));
  }
  parts_.extension.performActionWithIdentifier(
      action, identifiers, [reply = std::move(reply)](std::optional<NSError> error) mutable {
        if (error) return reply(std::unexpected(*std::move(error)));
        reply(BusArguments{});
      });
}

void Manager::decorations(BusMethodCall, BusReply reply) {
  NSArray list;
  for (const ItemDecoration& each : parts_.catalogue.decorations()) {
    list.emplace_back(NSDictionary{{"identifier", each.identifier},
                                   {"image", each.badgeImage},
                                   {"label", each.label},
                                   {"category", each.category}});
  }
  replyJson(reply, std::move(list));
}

void Manager::itemStates(BusMethodCall call, BusReply reply) {
  ItemStates states(parts_.volume.replica(), parts_.propagator, parts_.catalogue);
  NSArray list;
  for (const BusBytes& path : pathsArgument(call, 0)) {
    const auto node = knownNode(path.bytes);
    list.emplace_back(node ? states.describe(*node, path.bytes) : ItemStates::unknown(path.bytes));
  }
  replyJson(reply, std::move(list));
}

void Manager::folderStates(BusMethodCall call, BusReply reply) {
  const auto folder = knownNode(pathArgument(call));
  if (!folder) return reply(std::unexpected(folder.error()));
  Replica& replica = parts_.volume.replica();
  const auto children = replica.children(folder->inode);
  if (!children) {
    return reply(std::unexpected(errorWithPOSIXCode(ENOTDIR, pathArgument(call) + " is not listed here")));
  }
  // Read out first: the replica is locked while it is visited.
  std::vector<std::pair<NodeInfo, std::string>> found;
  replica.visit(folder->inode, *children, 0,
                [&found](std::size_t, const NodeInfo& node, std::string_view name) {
                  found.emplace_back(node, name);
                  return true;
                });
  ItemStates states(replica, parts_.propagator, parts_.catalogue);
  NSArray list;
  for (const auto& [node, name] : found) {
    list.emplace_back(states.describe(node, pathArgument(call) + "/" + name));
  }
  replyJson(reply, std::move(list));
}

// ---- what is another than before

void Manager::itemsChanged(const ReplicaDelta& delta) {
  std::vector<Inode> folders;
  for (const auto* names : {&delta.added, &delta.removed}) {
    for (const ReplicaDelta::Name& name : *names) folders.push_back(name.parent);
  }
  for (const auto* inodes : {&delta.contentChanged, &delta.metadataChanged}) {
    for (const Inode inode : *inodes) folders.push_back(inode);
  }
  // Those of items are told of by their folders, which are looked up when it is told.
  changedItems_->add(folders);
}

// Folders with local changes, and those that had some until now.
void Manager::pendingFoldersChanged() {
  constexpr std::size_t kMostLooked = 1000;
  std::vector<Inode> items;
  for (const PendingChange& change : parts_.propagator.pending(kMostLooked))
    items.push_back(change.info.inode);
  {
    const std::lock_guard lock(mutex_);
    pendingItems_.swap(items);
    items.insert(items.end(), pendingItems_.begin(), pendingItems_.end());
  }
  changedItems_->add(items);
}

std::string Manager::pathOf(Inode folder) const {
  Replica& replica = parts_.volume.replica();
  std::string path;
  for (Inode at = folder; at != kRootInode;) {
    const auto node = replica.node(at);
    if (!node) return {};
    path.insert(0, "/" + replica.name(at));
    at = node->parent;
  }
  return parts_.volume.mountPoint() + path;
}

// An item stands for the folder that it is in, and a folder for itself, too.
void Manager::tellOfItems(const std::vector<Inode>& items) {
  std::unordered_set<Inode> folders;
  for (const Inode inode : items) {
    const auto node = parts_.volume.replica().node(inode);
    if (!node) continue;
    folders.insert(node->parent);
    if (node->kind == NodeKind::folder) folders.insert(inode);
  }
  std::vector<BusBytes> paths;
  for (const Inode folder : folders) {
    if (std::string path = pathOf(folder); !path.empty()) paths.push_back({std::move(path)});
  }
  if (!paths.empty()) emit("ItemsChanged", "aay", {std::move(paths)});
}

}  // namespace zelto
