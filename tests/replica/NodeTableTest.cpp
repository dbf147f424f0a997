#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "framework/replica/NodeTable.h"
#include "framework/replica/VersionTemplate.h"

namespace zelto {
namespace {

// Few hashes for many slots, so that every way of meeting and shifting back occurs.
TEST(SlotTableTest, AgreesWithASetOverInsertionsAndRemovals) {
  std::mt19937 random(7);
  SlotTable table;
  std::set<Slot> model;
  const auto hash = [](Slot slot) { return slot % 13 * 0x01000193U; };
  for (int step = 0; step < 20000; ++step) {
    const auto slot = static_cast<Slot>(random() % 300);
    if (model.contains(slot)) {
      table.erase(hash(slot), slot);
      model.erase(slot);
    } else {
      table.insert(hash(slot), slot);
      model.insert(slot);
    }
    const auto asked = static_cast<Slot>(random() % 300);
    const Slot found = table.find(hash(asked), [asked](Slot each) { return each == asked; });
    ASSERT_EQ(found, model.contains(asked) ? asked : kNoSlot);
  }
  std::set<Slot> all;
  table.forEach([&](Slot slot) { all.insert(slot); });
  EXPECT_EQ(all, model);
  EXPECT_EQ(table.size(), model.size());
}

TEST(NodeTableTest, AgreesWithAMapOverManyLives) {
  std::mt19937 random(11);
  NodeTable table;
  std::map<std::string, NodeFields> model;
  std::map<std::string, Inode> numbers;
  Inode next = 2;
  for (int step = 0; step < 20000; ++step) {
    const std::string name(1 + random() % 40, static_cast<char>('a' + random() % 26));
    NodeFields fields;
    fields.size = random();
    fields.modifiedNs = static_cast<std::int64_t>(random() % 3);
    fields.createdNs = static_cast<std::int64_t>(random() % 3);
    fields.accessedNs = static_cast<std::int64_t>(random() % 2);
    fields.attributesDigest = random() % 2;
    const Slot known = table.child(table.root(), name);
    ASSERT_EQ(known != kNoSlot, model.contains(name));
    if (known == kNoSlot) {
      table.add(next, table.root(), name, fields);
      numbers[name] = next++;
      model[name] = fields;
    } else if (random() % 2 == 0) {
      table.setFields(known, fields);
      table.setOwnIdentifier(known, random() % 2 == 0 ? "id " + name : "");
      model[name] = fields;
    } else {
      table.remove(known);
      model.erase(name);
    }
  }
  ASSERT_EQ(table.children(table.root())->size(), model.size());
  for (const auto& [name, fields] : model) {
    const Slot slot = table.child(table.root(), name);
    ASSERT_NE(slot, kNoSlot);
    EXPECT_EQ(table.fields(slot), fields);
    EXPECT_EQ(table.slotForInode(numbers[name]), slot);
    const Slot own = table.slotForOwnIdentifier("id " + name);
    EXPECT_EQ(own, table.ownIdentifier(slot).empty() ? kNoSlot : slot);
  }
}

TEST(VersionTemplateTest, AnyVersionComesBackByteByByte) {
  std::mt19937 random(3);
  const auto text = [&](std::size_t most) {
    std::string bytes(random() % (most + 1), 'a');
    for (char& byte : bytes) byte = static_cast<char>('a' + random() % 2);
    return bytes;
  };
  for (int round = 0; round < 5000; ++round) {
    const VersionTemplate base(text(60));
    const NSData content = NSData::copyOf(text(60));
    const NSFileProviderItemVersion version{content, round % 3 == 0 ? NSData::copyOf(text(60)) : content};
    std::string compact;
    base.encode(version, compact);
    ASSERT_EQ(base.decode(compact), version);
    for (std::size_t cut = 0; cut < compact.size(); ++cut) {
      const auto partly = base.decode(std::string_view(compact).substr(0, cut));
      ASSERT_TRUE(!partly || partly->contentVersion == content);
    }
  }
  EXPECT_NE(versionTag({NSData::copyOf("a"), NSData::copyOf("b")}),
            versionTag({NSData::copyOf("a"), NSData::copyOf("c")}));
  EXPECT_NE(versionTag({NSData::copyOf("a"), NSData::copyOf("b")}),
            versionTag({NSData::copyOf("b"), NSData::copyOf("a")}));
}

}  // namespace
}  // namespace zelto
