#pragma once

#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "FakeItem.h"
#include "framework/replica/Replica.h"

namespace zelto {

// A tree of paths: a folder has no bytes.
using Tree = std::map<std::string, std::optional<std::string>>;

inline bool isBelowPath(const std::string& path, const std::string& folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

inline std::string parentPath(const std::string& path) { return path.substr(0, path.rfind('/')); }

// Gives a node with all below it another path.
template <typename Map>
void movePath(Map& tree, const std::string& from, const std::string& to) {
  Map moved;
  for (const auto& [path, value] : tree) {
    if (path == from || isBelowPath(path, from)) moved[to + path.substr(from.size())] = value;
  }
  std::erase_if(tree, [&](const auto& each) { return each.first == from || isBelowPath(each.first, from); });
  tree.merge(moved);
}

// A server that takes steps strictly: nothing is replaced that was not asked for, nothing is made where no
// folder is. Identifiers are paths.
class SimulatedServer {
 public:
  Tree tree;

  // The error's name, "" when the step is taken.
  std::string take(const LocalStep& step, const std::string& bytes) {
    const std::string to = step.destination();
    switch (step.kind) {
      case LocalStep::Kind::create:
        if (!isFolder(step.parentIdentifier)) return "no folder " + step.parentIdentifier;
        if (tree.contains(to)) return "exists";
        put(to, step.node.kind == NodeKind::folder ? std::nullopt : std::optional(bytes));
        return "";
      case LocalStep::Kind::upload:
        if (!tree.contains(step.identifier)) return "gone";
        put(step.identifier, bytes);
        return "";
      case LocalStep::Kind::move:
        if (!tree.contains(step.identifier)) return "gone";
        if (!isFolder(step.parentIdentifier)) return "no folder " + step.parentIdentifier;
        if (tree.contains(to)) return "exists";
        if (isBelowPath(to, step.identifier)) return "into itself";
        movePath(tree, step.identifier, to);
        std::erase_if(stamps_,
                      [&to](const auto& each) { return each.first == to || isBelowPath(each.first, to); });
        movePath(stamps_, step.identifier, to);
        return "";
      case LocalStep::Kind::remove:
        if (!tree.contains(step.identifier)) return "gone";
        if (hasChildren(step.identifier)) return "not empty";
        tree.erase(step.identifier);
        return "";
      case LocalStep::Kind::metadata:
        return "";
    }
    return "";
  }

  FakeItemPtr item(const std::string& path) const {
    const auto& bytes = tree.at(path);
    const std::string name = path.substr(path.rfind('/') + 1);
    auto made = bytes ? fakeFile(parentPath(path), name, static_cast<std::int64_t>(bytes->size()))
                      : fakeFolder(parentPath(path), name);
    const auto stamp = stamps_.find(path);
    made->stampField = stamp == stamps_.end() ? 1 : stamp->second;
    return made;
  }

  Items children(const std::string& folder) const {
    Items items;
    for (const auto& [path, bytes] : tree) {
      if (parentPath(path) == folder) items.push_back(item(path));
    }
    return items;
  }

  void put(const std::string& path, std::optional<std::string> bytes) {
    tree[path] = std::move(bytes);
    stamps_[path] = ++lastStamp_;
  }

 private:
  bool isFolder(const std::string& path) const {
    const auto at = tree.find(path);
    return at != tree.end() && !at->second;
  }
  bool hasChildren(const std::string& path) const {
    const auto next = tree.upper_bound(path + "/");
    return next != tree.end() && isBelowPath(next->first, path);
  }

  std::map<std::string, std::uint64_t> stamps_;
  std::uint64_t lastStamp_ = 1;
};

// The bytes that a step would upload.
inline std::string exportedBytes(Replica& replica, LocalStep& step, const std::string& path) {
  const bool carries = step.kind == LocalStep::Kind::create || step.kind == LocalStep::Kind::upload;
  if (!carries || step.node.kind != NodeKind::file) return "";
  if (const auto failure = replica.exportContent(step, path)) return failure->localizedDescription();
  std::ifstream file(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), {});
  ::unlink(path.c_str());
  return bytes;
}

// What the replica shows below a folder, with the bytes of the files that are here ("?" of others).
inline void readTree(Replica& replica, Inode folder, const std::string& path, Tree& tree) {
  const auto children = replica.children(folder);
  if (!children) return;
  for (const Inode child : *children) {
    const auto node = replica.node(child);
    const std::string at = path + "/" + replica.name(child);
    if (node->kind == NodeKind::folder) {
      tree[at] = std::nullopt;
      readTree(replica, child, at, tree);
      continue;
    }
    const auto content = replica.content(child);
    std::string bytes = "?";
    if (content && (*content)->complete()) {
      bytes.resize((*content)->size());
      const ssize_t got = ::pread((*content)->descriptor(), bytes.data(), bytes.size(), 0);
      if (got != static_cast<ssize_t>(bytes.size())) bytes = "short";
    }
    tree[at] = node->size == bytes.size() ? bytes : "size " + std::to_string(node->size);
  }
}

inline std::string differenceOf(const Tree& expected, const Tree& actual) {
  std::string text;
  for (const auto& [path, bytes] : expected) {
    const auto at = actual.find(path);
    if (at == actual.end())
      text += "missing " + path + "\n";
    else if (at->second != bytes)
      text += path + " is " + at->second.value_or("a folder") + ", not " + bytes.value_or("a folder") + "\n";
  }
  for (const auto& [path, bytes] : actual) {
    if (!expected.contains(path)) text += "unexpected " + path + "\n";
  }
  return text;
}

}  // namespace zelto
