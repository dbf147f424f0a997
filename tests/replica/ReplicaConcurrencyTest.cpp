#include <atomic>
#include <random>
#include <thread>

#include "ReplicaFixture.h"

namespace zelto {
namespace {

class ReplicaConcurrencyTest : public ReplicaFixture {};

constexpr int kFolders = 4, kRounds = 60, kFiles = 120;

// One folder's listing in one round: half of the names come and go, versions change.
Items listing(const std::string& folder, int round) {
  Items items;
  for (int i = 0; i < kFiles; ++i) {
    if ((i + round) % 3 != 0) {
      items.push_back(fakeFile(folder, "n" + std::to_string(i), 10, static_cast<std::uint64_t>(round / 4)));
    }
  }
  return items;
}

TEST_F(ReplicaConcurrencyTest, ReadersAndLearnersDoNotDisturbEachOther) {
  options.queuedRows = 500;  // so that learners wait for the writer now and then
  open();
  Items folders;
  for (int i = 0; i < kFolders; ++i) folders.push_back(fakeFolder("", "f" + std::to_string(i)));
  replica->applyListing(kRootInode, folders);
  std::atomic<int> learning = kFolders;
  std::atomic<int> wrong = 0;

  const auto learn = [&](int number) {
    const std::string folder = "/f" + std::to_string(number);
    const Inode inode = at("f" + std::to_string(number));
    for (int round = 0; round < kRounds; ++round) replica->applyListing(inode, listing(folder, round));
    --learning;
  };
  const auto read = [&](unsigned seed) {
    std::mt19937 random(seed);
    for (int delivery = 0; learning > 0; ++delivery) {
      const Inode folder = at("f" + std::to_string(random() % kFolders));
      const auto children = replica->children(folder);
      if (!children || children->empty()) continue;
      std::size_t seen = 0;
      replica->visit(folder, *children, random() % children->size(),
                     [&](std::size_t, const NodeInfo& node, std::string_view name) {
                       if (node.parent != folder || name.empty()) ++wrong;
                       return ++seen < 20;
                     });
      const auto found = replica->lookup(folder, "n" + std::to_string(random() % kFiles));
      if (found.presence == Replica::Presence::unknown) ++wrong;
      const Inode inode = found.node.inode;
      const auto version = replica->version(inode);
      if (version && version->contentVersion.size() != 226) ++wrong;
      const auto file = replica->content(inode);
      if (file) {
        const std::string path = top + "/d" + std::to_string(seed) + "-" + std::to_string(delivery);
        std::ofstream(path) << "0123456789";
        (*file)->takeOver(path, {0, 10});
        if ((*file)->complete() && bytesOf(**file) != "0123456789") ++wrong;
      }
      if (random() % 8 == 0) replica->evict(folder);
      replica->counts();
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < kFolders; ++i) threads.emplace_back(learn, i);
  for (unsigned i = 0; i < 3; ++i) threads.emplace_back(read, i);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);

  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < kFolders; ++i) {
      const Inode folder = at("f" + std::to_string(i));
      EXPECT_TRUE(replica->applyListing(folder, listing("/f" + std::to_string(i), kRounds - 1)).empty());
      EXPECT_EQ(replica->children(folder)->size(), static_cast<std::size_t>(kFiles) * 2 / 3);
    }
    EXPECT_EQ(replica->counts().items, static_cast<std::uint64_t>(kFolders + kFolders * kFiles * 2 / 3));
    open();
  }
}

}  // namespace
}  // namespace zelto
