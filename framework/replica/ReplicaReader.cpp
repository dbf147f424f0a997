#include "framework/replica/ReplicaReader.h"

#include <algorithm>

#include <sqlite3.h>

#include "framework/replica/Digest.h"

namespace zelto {
namespace {

NodeRow rowFrom(const Statement& row, Inode parent) {
  NodeRow node;
  node.inode = row.natural(0);
  node.parent = parent;
  node.listed = row.integer(2) != 0;
  NodeFields& fields = node.fields;
  fields.kind = NodeKind{static_cast<std::uint8_t>(row.integer(1))};
  fields.capabilities = static_cast<std::uint16_t>(row.integer(3));
  fields.flags = static_cast<std::uint8_t>(row.integer(4));
  fields.size = row.natural(5);
  fields.modifiedNs = row.integer(6);
  fields.versionTag = row.natural(7);
  node.name = row.bytes(8);
  fields.createdNs = row.isNull(9) ? fields.modifiedNs : row.integer(9);
  fields.accessedNs = row.isNull(10) ? fields.modifiedNs : row.integer(10);
  node.ownIdentifier = row.bytes(11);
  node.attributes = row.bytes(12);
  fields.here = static_cast<std::uint16_t>(row.integer(13));
  fields.traits = static_cast<std::uint32_t>(row.integer(14));
  if (!node.attributes.empty()) fields.attributesDigest = digestOfBytes(node.attributes);
  return node;
}

}  // namespace

ReplicaReader::ReplicaReader(Database database, bool anyOwnIdentifiers)
    : database_(std::move(database)),
      anyOwnIdentifiers_(anyOwnIdentifiers),
      children_(database_.prepare(
          "SELECT inode, kind, listed, capabilities, flags, size, modified, versionTag, "
          "name, created, accessed, identifier, attributes, here, traits FROM node WHERE parent = ? "
          "ORDER BY inode")),
      parent_(database_.prepare("SELECT parent FROM node WHERE inode = ?")),
      ownIdentifier_(database_.prepare("SELECT inode FROM node WHERE identifier = ?")),
      texts_(database_.prepare("SELECT version, target, attributes FROM node WHERE inode = ?")) {}

bool ReplicaReader::children(Inode folder, const std::function<void(const NodeRow&)>& take) {
  const std::lock_guard lock(mutex_);
  children_.bind(0, folder);
  while (children_.step()) {
    const NodeRow row = rowFrom(children_, folder);
    const bool sound = row.fields.kind <= NodeKind::symlink && !row.name.empty() && row.name.size() <= 255;
    if (sound) take(row);
  }
  const int result = children_.result();
  children_.reset();
  return result == SQLITE_DONE;
}

std::optional<Inode> ReplicaReader::parent(Inode inode) {
  const std::lock_guard lock(mutex_);
  std::optional<Inode> found;
  if (parent_.bind(0, inode).step()) found = parent_.natural(0);
  parent_.reset();
  return found;
}

void ReplicaReader::readIdentifierDigests() {
  digestsRead_ = true;
  Statement all = database_.prepare("SELECT identifier FROM node WHERE identifier IS NOT NULL");
  while (all.step()) identifierDigests_.push_back(digestOfBytes(all.bytes(0)));
  std::sort(identifierDigests_.begin(), identifierDigests_.end());
}

std::optional<Inode> ReplicaReader::inodeForOwnIdentifier(std::string_view identifier) {
  if (!anyOwnIdentifiers_) return {};
  const std::lock_guard lock(mutex_);
  if (!digestsRead_) readIdentifierDigests();
  const std::uint64_t digest = digestOfBytes(identifier);
  if (!std::binary_search(identifierDigests_.begin(), identifierDigests_.end(), digest)) return {};
  std::optional<Inode> found;
  if (ownIdentifier_.bind(0, identifier).step()) found = ownIdentifier_.natural(0);
  ownIdentifier_.reset();
  return found;
}

std::vector<Inode> ReplicaReader::contentsBelow(Inode folder) {
  const std::lock_guard lock(mutex_);
  Statement below = database_.prepare(
      "WITH RECURSIVE below(inode) AS (VALUES(?) UNION SELECT node.inode FROM node JOIN below "
      "ON node.parent = below.inode) SELECT content.inode FROM below JOIN content USING(inode)");
  below.bind(0, folder);
  std::vector<Inode> found;
  while (below.step()) found.push_back(below.natural(0));
  return found;
}

bool ReplicaReader::contents(const std::function<void(const ContentRow&)>& take) {
  const std::lock_guard lock(mutex_);
  Statement all = database_.prepare("SELECT inode, generation, versionTag, size, ranges FROM content");
  while (all.step()) {
    take({all.natural(0), all.natural(1), all.natural(2), all.natural(3), all.bytes(4)});
  }
  return all.result() == SQLITE_DONE;
}

std::string ReplicaReader::text(Inode inode, Text which) {
  const std::lock_guard lock(mutex_);
  std::string text;
  if (texts_.bind(0, inode).step()) text = texts_.bytes(static_cast<int>(which));
  texts_.reset();
  return text;
}

}  // namespace zelto
