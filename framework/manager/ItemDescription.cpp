#include "framework/manager/ItemDescription.h"

namespace zelto {
namespace {

PropertyListValue number(std::uint64_t value) { return static_cast<std::int64_t>(value); }

const char* kindName(NodeKind kind) {
  switch (kind) {
    case NodeKind::folder:
      return "folder";
    case NodeKind::symlink:
      return "symlink";
    case NodeKind::file:
      break;
  }
  return "file";
}

void addContent(NSDictionary& description, Replica& replica, const NodeInfo& node) {
  NSArray ranges;
  std::uint64_t bytes = 0;
  for (const NSRange range : replica.materialisedRanges(node.inode)) {
    ranges.push_back(NSArray{number(range.location), number(range.length)});
    bytes += range.length;
  }
  const bool full = bytes >= node.size;
  description.set("materialised", full ? "full" : bytes > 0 ? "partial" : "none");
  description.set("materialisedBytes", number(bytes));
  description.set("ranges", std::move(ranges));
}

}  // namespace

NSDictionary descriptionOfItem(Replica& replica, const NodeInfo& node) {
  NSDictionary description{
      {"identifier", replica.identifier(node.inode)},
      {"name", replica.name(node.inode)},
      {"type", kindName(node.kind)},
      {"size", number(node.size)},
      {"modified", static_cast<double>(node.modifiedNs) / 1e9},
      {"capabilities", number(static_cast<std::uint64_t>(node.capabilities))},
      {"fileSystemFlags", number(static_cast<std::uint64_t>(node.flags))},
      {"inode", number(node.inode)},
  };
  if (node.kind == NodeKind::folder) description.set("listed", node.listed);
  if (node.kind == NodeKind::file) addContent(description, replica, node);
  if (node.kind == NodeKind::symlink) description.set("target", replica.symlinkTarget(node.inode));
  return description;
}

}  // namespace zelto
