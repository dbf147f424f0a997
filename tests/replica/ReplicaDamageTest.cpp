#include <chrono>
#include <thread>

#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "ReplicaFixture.h"
#include "framework/volume/KernelNode.h"

namespace zelto {
namespace {

class ReplicaDamageTest : public ReplicaFixture {
 protected:
  std::string database() const { return directory + "/replica.db"; }

  void makeLarge() {
    open();
    listSmallTree();
    replica->applyListing(at("b"), fakeFiles("/b", "file of some length ", 20000));
    materialise(at("top"), 't');
    lastInode_ = at("b/file of some length 19999");
    replica.reset();
  }

  void overwrite(std::uint64_t offset, std::uint64_t length) {
    std::fstream file(database(), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file << std::string(length, '\xa5');
  }

  void execute(const std::string& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(database().c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(connection);
  }

  // The replica is of use again, and gives no number that the lost one may have given.
  void expectBegunAnew() {
    open();
    EXPECT_EQ(replica->children(kRootInode), nullptr);
    EXPECT_EQ(replica->counts().items, 0U);
    replica->applyListing(kRootInode, {fakeFile("", "top")});
    EXPECT_GT(at("top"), lastInode_);
    EXPECT_TRUE(replica->materialisedRanges(at("top")).empty());
    const Inode fresh = at("top");
    open();
    EXPECT_EQ(at("top"), fresh);
    EXPECT_TRUE(std::filesystem::exists(database() + ".damaged"));
    // The kernel's node numbers have room for the numbers given now.
    EXPECT_EQ(kernelnode::inodeOf(kernelnode::nodeOf(fresh, 1)), fresh);
  }

  // Does the work in another process, which then ends without a word.
  template <typename Work>
  void dieAfter(const Work& work) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      work();
      ::kill(::getpid(), SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  }

  Inode lastInode_ = 0;
};

TEST_F(ReplicaDamageTest, ADatabaseThatIsNoneIsSetAside) {
  const std::vector<std::function<void()>> damages{
      [this] { overwrite(0, 4096); },
      [this] { std::filesystem::resize_file(database(), std::filesystem::file_size(database()) / 2); },
      [this] { std::ofstream(database(), std::ios::trunc) << "no database"; },
      [this] { execute("PRAGMA user_version=99"); },
      [this] { execute("DROP TABLE content; DROP TABLE session"); },
      [this] { execute("DELETE FROM node WHERE inode = 1"); },
  };
  for (const auto& damage : damages) {
    makeLarge();
    damage();
    testing::internal::CaptureStderr();
    expectBegunAnew();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("set aside"), std::string::npos);
    replica.reset();
    std::filesystem::remove_all(directory);
  }
}

TEST_F(ReplicaDamageTest, ALogOfAnotherDatabaseDoesNoHarm) {
  makeLarge();
  std::ofstream(database() + "-wal") << std::string(100000, 'w');
  std::ofstream(database() + "-shm") << std::string(40000, 's');
  open();
  EXPECT_EQ(at("b/file of some length 19999"), lastInode_);
}

TEST_F(ReplicaDamageTest, DamageThatShowsLaterCostsTheFolderNotTheProcess) {
  makeLarge();
  const auto size = std::filesystem::file_size(database());
  overwrite(size / 2, size / 4);  // pages of nodes and of the index; not those that opening reads
  auto opened = Replica::open(directory, options);
  ASSERT_TRUE(opened.has_value());
  replica = std::move(*opened);
  const Inode b = at("b");
  if (b != 0) {
    EXPECT_EQ(replica->lookup(b, "no such file").presence, Replica::Presence::unknown);
    replica->applyListing(b, {fakeFile("/b", "again")});
    EXPECT_EQ(replica->lookup(b, "again").presence, Replica::Presence::found);
  }
  replica.reset();
  open();
  const bool begunAnew = replica->children(kRootInode) == nullptr;
  EXPECT_TRUE(begunAnew);
}

TEST_F(ReplicaDamageTest, OneProcessHoldsAReplica) {
  open();
  const auto second = Replica::open(directory, options);
  ASSERT_FALSE(second.has_value());
  EXPECT_EQ(second.error().code(), EBUSY);
  replica.reset();
  open();
  std::ofstream(top + "/file") << "x";
  EXPECT_FALSE(Replica::open(top + "/file").has_value());
}

TEST_F(ReplicaDamageTest, WhatWasNotOnTheDiskWhenThePowerWentIsFetchedAgain) {
  options.bootId = "first boot";
  for (const bool clean : {true, false}) {
    for (const std::string boot : {"first boot", "second boot"}) {
      std::filesystem::remove_all(directory);
      const auto work = [this] {
        open();
        listSmallTree();
        materialise(at("a/file"), 'm');
        replica->flush();
      };
      if (clean) {
        work();
        replica.reset();
      } else {
        dieAfter(work);
      }
      options.bootId = boot;
      open();
      options.bootId = "first boot";
      const bool kept = !replica->materialisedRanges(at("a/file")).empty();
      EXPECT_EQ(kept, clean || boot == "first boot") << clean << boot;
      EXPECT_NE(at("a/deep/inner"), 0U);
      if (kept) {
        EXPECT_EQ(bytesOf(*content(at("a/file"))), std::string(10, 'm'));
      }
      replica.reset();
    }
  }
}

TEST_F(ReplicaDamageTest, StrayFilesAreRemovedAndOthersStay) {
  makeLarge();
  const std::string content = directory + "/content/";
  for (const std::string folder : {"00", "07", "ff"}) {
    std::filesystem::create_directories(content + folder);
    for (const std::string name : {"/999-4294967297", "/garbage", "/7-", "/-7", "/07-1"}) {
      std::ofstream(content + folder + name) << "stray";
    }
  }
  ASSERT_EQ(contentFilesOnDisk(), 16U);
  open();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (contentFilesOnDisk() > 1 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_EQ(contentFilesOnDisk(), 1U);
  EXPECT_EQ(bytesOf(*this->content(at("top"))), std::string(10, 't'));
}

TEST_F(ReplicaDamageTest, AFullDiskIsWaitedFor) {
  options.queuedRows = 100;  // who learns is not held up by a disk that takes nothing
  open();
  listSmallTree();
  replica->flush();
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = std::filesystem::file_size(database() + "-wal") + 8192;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  testing::internal::CaptureStderr();
  replica->applyListing(at("b"), fakeFiles("/b", "a name of some length ", 2000));
  replica->flush();
  replica->applyListing(at("a"), fakeFiles("/a", "another name of some length ", 2000));
  replica->flush();
  EXPECT_EQ(replica->children(at("a"))->size(), 2000U);
  EXPECT_EQ(replica->version(at("a/another name of some length 7")), FakeItem::versionOf(1));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  replica->flush();
  const std::string lines = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;  // that it fails, that it works again
  const Inode last = at("a/another name of some length 1999");
  open();
  EXPECT_EQ(at("a/another name of some length 1999"), last);
  EXPECT_EQ(replica->children(at("b"))->size(), 2000U);
}

}  // namespace
}  // namespace zelto
