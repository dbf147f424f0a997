#include <random>

#include <signal.h>
#include <sys/wait.h>

#include "ReplicaFixture.h"

namespace zelto {
namespace {

// What the process that will be killed does, over and over: it lists folders anew, each time with all
// names of one generation, and materialises the one file that stays.
class ListingVictim {
 public:
  ListingVictim(const std::string& directory, unsigned seed, int pipe)
      : directory_(directory), pipe_(pipe), random_(seed), step_(seed * 100000) {}

  [[noreturn]] void run() {
    replica_ = std::move(*Replica::open(directory_));
    Items folders;
    for (int i = 0; i < kFolders; ++i) folders.push_back(fakeFolder("", "f" + std::to_string(i)));
    replica_->applyListing(kRootInode, folders);
    for (;;) listOne();
  }

  static constexpr int kFolders = 10;
  static constexpr std::size_t kSize = 5000;
  static char byteOf(std::uint64_t generation) { return static_cast<char>('a' + generation % 26); }

 private:
  void listOne() {
    const std::uint64_t generation = ++step_;
    const std::string folder = "/f" + std::to_string(random_() % kFolders);
    const int count = 20 + static_cast<int>(random_() % 300);
    const std::string stem = "g" + std::to_string(generation) + "n" + std::to_string(count) + "-";
    Items items = fakeFiles(folder, stem, count);
    items.push_back(fakeFile(folder, "steady", kSize, generation));
    replica_->applyListing(*replica_->inodeForIdentifier(folder), items);
    report(folder + "/steady");
    report(folder + "/" + stem + "0");
    if (random_() % 2 == 0) materialise(folder + "/steady", generation);
    if (random_() % 4 == 0) replica_->flush();
  }

  void report(const std::string& identifier) {
    const std::string line =
        std::to_string(*replica_->inodeForIdentifier(identifier)) + " " + identifier + "\n";
    if (::write(pipe_, line.data(), line.size()) < 0) ::_exit(1);
  }

  void materialise(const std::string& identifier, std::uint64_t generation) {
    const auto file = *replica_->content(*replica_->inodeForIdentifier(identifier));
    const std::string path = directory_ + "/delivered" + std::to_string(generation);
    std::ofstream(path, std::ios::binary) << std::string(kSize, byteOf(generation));
    const NSRange half{0, kSize / 2};
    file->takeOver(path, random_() % 2 == 0 ? half : NSRange{0, kSize});
  }

  const std::string directory_;
  const int pipe_;
  std::mt19937 random_;
  std::uint64_t step_;
  std::unique_ptr<Replica> replica_;
};

class ReplicaKillTest : public ReplicaFixture {
 protected:
  // Runs a victim until it has reported so many bytes, and kills it.
  void killAfter(unsigned seed, std::size_t bytes) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) ListingVictim(directory, seed, ends[1]).run();
    ::close(ends[1]);
    std::string text(bytes, '\0');
    std::size_t got = 0;
    while (got < bytes) {
      const ssize_t more = ::read(ends[0], text.data() + got, bytes - got);
      if (more <= 0) break;
      got += static_cast<std::size_t>(more);
    }
    EXPECT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    ::close(ends[0]);
    take(text.substr(0, text.rfind('\n') + 1));
  }

  // A number never stands for two items.
  void take(const std::string& lines) {
    std::istringstream text(lines);
    Inode inode = 0;
    std::string identifier;
    while (text >> inode >> identifier) {
      const auto [known, isNew] = owners_.emplace(inode, identifier);
      ASSERT_EQ(known->second, identifier) << inode;
    }
  }

  void checkFolder(Inode folder) {
    const auto children = replica->children(folder);
    if (!children) return;
    ++listed_;
    std::set<std::string> stems;
    std::size_t count = 0;
    replica->visit(folder, *children, 0, [&](std::size_t, const NodeInfo&, std::string_view name) {
      if (name != "steady") stems.emplace(name.substr(0, name.find('-')));
      ++count;
      return true;
    });
    ASSERT_EQ(stems.size(), 1U) << "children of two listings at once";
    const std::size_t n = stems.begin()->find('n');
    EXPECT_EQ(count, std::stoul(stems.begin()->substr(n + 1)) + 1);
    checkSteady(replica->lookup(folder, "steady").node, std::stoul(stems.begin()->substr(1, n - 1)));
  }

  void checkSteady(const NodeInfo& steady, std::uint64_t generation) {
    EXPECT_EQ(replica->version(steady.inode), FakeItem::versionOf(generation));
    for (const NSRange range : replica->materialisedRanges(steady.inode)) {
      const auto file = content(steady.inode);
      ASSERT_NE(file, nullptr);
      if (file->ranges().empty()) continue;  // its file went before the row did
      EXPECT_EQ(bytesOf(*file).substr(range.location, range.length),
                std::string(range.length, ListingVictim::byteOf(generation)));
      ++materialised_;
    }
  }

  std::map<Inode, std::string> owners_;
  int listed_ = 0, materialised_ = 0;
};

TEST_F(ReplicaKillTest, WhateverTheMomentWhatIsThereIsWhole) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    ASSERT_NO_FATAL_FAILURE(killAfter(seed, 1 + seed * seed * 150 % 8000));
    open();
    for (int i = 0; i < ListingVictim::kFolders; ++i) {
      const Inode folder = at("f" + std::to_string(i));
      if (folder == 0) continue;
      ASSERT_NO_FATAL_FAILURE(checkFolder(folder));
    }
    // A new item gets a number that nobody has ever seen.
    replica->applyListing(kRootInode, {fakeFile("", "new" + std::to_string(seed))});
    const Inode fresh = at("new" + std::to_string(seed));
    EXPECT_TRUE(owners_.emplace(fresh, "new").second) << fresh;
    replica.reset();
  }
  // Else nothing was tested.
  EXPECT_GT(listed_, 20);
  EXPECT_GT(materialised_, 5);
}

}  // namespace
}  // namespace zelto
