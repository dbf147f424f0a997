#include <random>

#include "ReplicaFixture.h"

namespace zelto {
namespace {

// A server's tree: items by identifier. An identifier is made of a path or is opaque, and stays with its
// item wherever that goes.
struct ModelItem {
  std::string parent, name;
  bool folder = false;
  std::uint64_t stamp = 0;
};

class ReplicaModelTest : public ReplicaFixture {
 protected:
  using Model = std::map<std::string, ModelItem>;

  std::size_t below(std::size_t limit) { return random_() % limit; }

  FakeItemPtr item(const std::string& identifier) const {
    const ModelItem& model = model_.at(identifier);
    auto made = model.folder ? fakeFolder("", model.name) : fakeFile("", model.name, 10, model.stamp);
    made->identifierField = identifier;
    made->parentField = model.parent.empty() ? "/" : model.parent;
    return made;
  }

  bool isBelow(std::string identifier, const std::string& ancestor) const {
    for (; !identifier.empty(); identifier = model_.at(identifier).parent) {
      if (identifier == ancestor) return true;
    }
    return false;
  }

  std::string anyOf(bool folders) {
    std::vector<std::string> all;
    for (const auto& [identifier, each] : model_) {
      if (each.folder || !folders) all.push_back(identifier);
    }
    if (folders) all.emplace_back();  // the root
    return all.empty() ? "" : all[below(all.size())];
  }

  bool nameFree(const std::string& parent, const std::string& name) const {
    return std::ranges::none_of(
        model_, [&](const auto& each) { return each.second.parent == parent && each.second.name == name; });
  }

  void erase(const std::string& identifier) {
    std::vector<std::string> gone;
    for (const auto& each : model_) {
      if (isBelow(each.first, identifier)) gone.push_back(each.first);
    }
    for (const std::string& each : gone) {
      // What came there since the replica was last told does not go with the folder.
      if (told_.contains(each)) deleted_.push_back(each);
      gone_.insert(each);
      model_.erase(each);
      numbers_.erase(each);
    }
  }

  // One change on the server; the folders whose listing it changes.
  void change() {
    const std::string parent = anyOf(true), name = "n" + std::to_string(below(12));
    const std::string item = anyOf(false);
    const auto kind = below(10);
    if (kind < 5 || item.empty()) {
      std::string identifier = parent + "/" + name;
      if (below(3) == 0) identifier = "opaque" + std::to_string(++opaque_);
      if (!nameFree(parent, name) || model_.contains(identifier) || gone_.contains(identifier)) return;
      model_[identifier] = {parent, name, below(3) == 0, below(5)};
      told_.insert(identifier);
    } else if (kind < 7) {
      // Into a new folder, but not into one whose own folder nobody has listed: there it would be lost.
      const bool reachable =
          parent.empty() || model_[parent].parent.empty() || numbers_.contains(model_[parent].parent);
      if (!reachable || !nameFree(parent, name) || isBelow(parent, item)) return;
      model_[item].parent = parent;
      model_[item].name = name;
      told_.insert(item);
    } else if (kind < 9) {
      ++model_[item].stamp;
      told_.insert(item);
    } else {
      erase(item);
      deleted_.push_back(item);
    }
  }

  Items childrenOf(const std::string& folder) const {
    Items items;
    for (const auto& [identifier, each] : model_) {
      if (each.parent == folder) items.push_back(item(identifier));
    }
    return items;
  }

  void tell() {
    Items updates;
    for (const std::string& identifier : told_) {
      if (model_.contains(identifier)) updates.push_back(item(identifier));
    }
    std::shuffle(updates.begin(), updates.end(), random_);
    replica->applyChanges(updates, deleted_);
    told_.clear();
    deleted_.clear();
    gone_.clear();
  }

  // Lists every folder that the replica does not know yet.
  void listUnknown(const std::string& folder) {
    const Inode inode = folder.empty() ? kRootInode : replica->inodeForIdentifier(folder).value_or(0);
    if (!replica->children(inode)) replica->applyListing(inode, childrenOf(folder));
    for (const auto& [identifier, each] : Model(model_)) {
      if (each.parent == folder && each.folder) listUnknown(identifier);
    }
  }

  void check(const std::string& folder) {
    const Inode inode = folder.empty() ? kRootInode : replica->inodeForIdentifier(folder).value_or(0);
    const auto children = replica->children(inode);
    ASSERT_NE(children, nullptr) << folder;
    ASSERT_EQ(children->size(), childrenOf(folder).size()) << folder;
    for (const auto& [identifier, each] : model_) {
      if (each.parent != folder) continue;
      const auto found = replica->lookup(inode, each.name);
      ASSERT_EQ(found.presence, Replica::Presence::found) << identifier;
      ASSERT_EQ(found.node.kind == NodeKind::folder, each.folder);
      ASSERT_EQ(replica->identifier(found.node.inode), identifier);
      ASSERT_EQ(replica->inodeForIdentifier(identifier), found.node.inode);
      if (!each.folder) {
        ASSERT_EQ(replica->version(found.node.inode), FakeItem::versionOf(each.stamp));
      }
      const auto [known, isNew] = numbers_.emplace(identifier, found.node.inode);
      ASSERT_EQ(known->second, found.node.inode) << identifier << " has another number than before";
      if (!each.folder) continue;
      ASSERT_NO_FATAL_FAILURE(check(identifier));
    }
  }

  std::mt19937 random_;
  Model model_;
  std::map<std::string, Inode> numbers_;
  std::set<std::string> told_;
  std::vector<std::string> deleted_;
  std::set<std::string> gone_;  // not made again before the replica was told: it would take it for the same
  int opaque_ = 0;
};

TEST_F(ReplicaModelTest, FollowsAServerThroughChangesAndRestarts) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::filesystem::remove_all(directory);
    model_.clear();
    numbers_.clear();
    random_.seed(seed);
    open();
    for (int round = 0; round < 60; ++round) {
      for (std::size_t count = below(6); count > 0; --count) change();
      tell();
      listUnknown("");
      ASSERT_NO_FATAL_FAILURE(check("")) << "seed " << seed << " round " << round;
      replica->flush();  // what is removed unseen is counted when it is written
      EXPECT_EQ(replica->counts().items, model_.size());
      if (below(5) == 0) open();
    }
    replica.reset();
  }
}

}  // namespace
}  // namespace zelto
