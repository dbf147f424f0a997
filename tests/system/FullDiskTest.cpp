#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"
#include "tests/system/ServerWatch.h"
#include "tests/system/Settled.h"

namespace zelto::test {
namespace {

using Names = std::vector<std::string>;

constexpr std::size_t kMiB = 1 << 20;
constexpr const char* kNoSpace = "there is no space left on the server";

// A file system of a few MiB, which can be filled. Goes after the system that works on it.
class SmallDisk {
 public:
  ~SmallDisk() {
    if (at_.empty()) return;
    ::umount2(at_.c_str(), MNT_DETACH);
    std::error_code ignored;
    fs::remove_all(at_.parent_path(), ignored);
  }

  bool mountAt(const fs::path& at) {
    if (::mount("none", at.c_str(), "tmpfs", 0, "size=32m") != 0) return false;
    at_ = at;
    return true;
  }
  // Fills it but for so many bytes; somebody else may write to it meanwhile.
  void leave(std::size_t bytes) {
    const UniqueDescriptor filler(::open((at_ / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_TRUE(eventually([&] {
      struct statvfs disk {};
      ::statvfs(at_.c_str(), &disk);
      const auto rest = static_cast<off_t>(disk.f_bavail * disk.f_frsize) - static_cast<off_t>(bytes);
      return ::fallocate(filler.get(), 0, 0, rest) == 0;
    }));
  }
  void makeRoom() { EXPECT_TRUE(fs::remove(at_ / "filler")); }

 private:
  fs::path at_;
};

// Writes as much as there is room for, in small pieces, and syncs; the errno value of what failed.
int fill(const fs::path& path, std::size_t size, std::size_t* written = nullptr) {
  const UniqueDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (!file) return errno;
  const std::string piece(100'000, 'f');
  for (std::size_t at = 0; at < size;) {
    const ssize_t count = ::write(file.get(), piece.data(), std::min(piece.size(), size - at));
    if (count < 0) return errno;
    at += static_cast<std::size_t>(count);
    if (written != nullptr) *written = at;
  }
  return ::fsync(file.get()) == 0 ? 0 : errno;
}

struct FullDiskTest : ::testing::Test {
  SmallDisk disk;
  TestSystem system;
  fs::path top = system.mounted();

  void expectAllArrived(const std::string& pending) {
    EXPECT_EQ(pending, "");
    EXPECT_EQ(treeDifference(top, system.share()), "");
    EXPECT_EQ(strayFiles(system), "");
    EXPECT_EQ(countOf(system, "conflicts"), 0) << system.extensionErrors();
  }
};

// ---- the server's disk

struct FullServerTest : FullDiskTest {
  void SetUp() override {
    if (!disk.mountAt(system.served())) GTEST_SKIP() << "only root can mount a file system";
    writeFile(system.share() / "old", std::string(kMiB, 'o'));
    system.start();
    EXPECT_EQ(names(top), Names{"old"});
    disk.leave(kMiB / 2);
    watch.emplace(system.share());
    EXPECT_EQ(fill(top / "new", 2 * kMiB), 0);
    EXPECT_EQ(fill(top / "old", 3 * kMiB), 0);
    EXPECT_TRUE(fs::create_directory(top / "folder"));
    EXPECT_EQ(fill(top / "folder" / "inside", kMiB), 0);
    writeFile(top / "small", "fits");
    EXPECT_TRUE(eventually([&] { return countOf(system, "failed") == 3; })) << pendingNow(system);
  }

  // What fits is there, of all else nothing.
  void expectNothingPartial() {
    EXPECT_TRUE(eventually([&] { return readFile(system.share() / "small") == "fits"; }));
    EXPECT_TRUE(eventually([&] { return names(system.share()) == Names{"folder", "old", "small"}; }));
    EXPECT_EQ(readFile(system.share() / "old"), std::string(kMiB, 'o'));
    EXPECT_TRUE(eventually([&] { return names(system.share() / "folder").empty(); }));
    EXPECT_EQ(watch->names(), (std::set<std::string>{"folder", "small"}));
  }

  std::optional<ServerWatch> watch;
};

TEST_F(FullServerTest, ChangesWaitWithTheirReasonAndArriveByThemselves) {
  const std::string pending = pendingNow(system);
  for (std::size_t at = 0, told = 0; told < 3; ++told) {
    at = pending.find(kNoSpace, at + 1);
    ASSERT_NE(at, std::string::npos) << told << " of 3 in " << pending;
  }
  expectNothingPartial();
  EXPECT_EQ(readFile(top / "old"), std::string(3 * kMiB, 'f'));
  disk.makeRoom();
  const bool arrived = eventually([&] { return pendingNow(system) == "[]"; }, std::chrono::seconds(90));
  expectAllArrived(arrived ? "" : pendingNow(system));
}

TEST_F(FullServerTest, ChangesOutliveBothProcessesAndArriveWhenTheyAreRetried) {
  system.extension().kill(SIGKILL);
  system.host().kill(SIGKILL);
  system.start();
  EXPECT_TRUE(eventually([&] { return countOf(system, "failed") == 3; })) << pendingNow(system);
  expectNothingPartial();
  disk.makeRoom();
  EXPECT_TRUE(system.callManager("Retry", "ay", {BusBytes{}}).has_value());
  const bool arrived = eventually([&] { return pendingNow(system) == "[]"; }, std::chrono::seconds(90));
  expectAllArrived(arrived ? "" : pendingNow(system));
}

// ---- this machine's

struct FullHereTest : FullDiskTest {
  void SetUp() override {
    if (!disk.mountAt(system.data())) GTEST_SKIP() << "only root can mount a file system";
    writeFile(system.share() / "server", "s");
    system.start();
    EXPECT_EQ(names(top), Names{"server"});
    writeFile(top / "settled", std::string(kMiB, '1'));
    EXPECT_EQ(waitUntilSettled(system), "");
    // What the server still tells of that file comes before this; then its content is fetched, should it be
    // gone.
    writeFile(system.share() / "server", std::string(6 * kMiB, 's'));
    EXPECT_TRUE(eventually([this] { return fs::file_size(top / "server") == 6 * kMiB; }));
    EXPECT_EQ(readFile(top / "settled"), std::string(kMiB, '1'));
    writeFile(top / "kept", std::string(kMiB, '2'));
  }

  void expectWhole() {
    EXPECT_EQ(readFile(top / "settled"), std::string(kMiB, '1'));
    EXPECT_EQ(readFile(top / "kept"), std::string(kMiB, '2'));
  }
};

TEST_F(FullHereTest, ProgramsAreToldAndWhatTheyWroteBeforeStaysWhole) {
  disk.leave(4 * kMiB);
  std::size_t written = 0;
  EXPECT_EQ(fill(top / "large", 40 * kMiB, &written), ENOSPC);
  EXPECT_GE(written, 2 * kMiB);
  EXPECT_EQ(readFile(top / "large"), std::string(written, 'f'));
  // As programs save: what is there stays until all of the new one is.
  EXPECT_EQ(fill(top / "kept.new", kMiB), ENOSPC);
  EXPECT_EQ(readFile(top / "server"), "errno " + std::to_string(ENOSPC));
  struct statvfs seen {};
  ASSERT_EQ(::statvfs(top.c_str(), &seen), 0);
  EXPECT_LT(seen.f_bavail * seen.f_frsize, 4 * kMiB);
  expectWhole();
  EXPECT_EQ(::unlink((top / "large").c_str()), 0) << errno;
  EXPECT_EQ(::unlink((top / "kept.new").c_str()), 0) << errno;
  disk.makeRoom();
  EXPECT_EQ(readFile(top / "server"), std::string(6 * kMiB, 's'));
  EXPECT_EQ(fill(top / "later", 2 * kMiB), 0);
  expectWhole();
  expectAllArrived(waitUntilSettled(system));
}

TEST_F(FullHereTest, MappedWritesAndReservationsAreToldToo) {
  disk.leave(4 * kMiB);
  UniqueDescriptor file(::open((top / "mapped").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  EXPECT_EQ(::fallocate(file.get(), 0, 0, 12 * kMiB), -1);
  EXPECT_EQ(errno, ENOSPC);
  ASSERT_EQ(::ftruncate(file.get(), 12 * kMiB), 0) << errno;
  void* const bytes = ::mmap(nullptr, 12 * kMiB, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  ASSERT_NE(bytes, MAP_FAILED);
  std::fill_n(static_cast<char*>(bytes), 12 * kMiB, 'm');
  EXPECT_EQ(::msync(bytes, 12 * kMiB, MS_SYNC), -1);
  EXPECT_EQ(errno, ENOSPC);
  ::munmap(bytes, 12 * kMiB);
  EXPECT_EQ(::ftruncate(file.get(), 10), 0) << errno;
  file.reset();
  disk.makeRoom();
  expectWhole();
  expectAllArrived(waitUntilSettled(system));
}

// While it is sent, its content is changed in a copy, for which there is no room.
TEST_F(FullHereTest, AFileThatIsBeingSentStaysWhole) {
  system.host().signal(SIGSTOP);
  ASSERT_EQ(fill(top / "sent", 4 * kMiB), 0);
  const std::jthread sending([this] { static_cast<void>(system.callManager("Wait", "", {})); });
  EXPECT_TRUE(eventually([&] { return holdsFileOfSize(system.data() / "groups", 4 * kMiB); }));
  disk.leave(kMiB);
  UniqueDescriptor file(::open((top / "sent").c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(::pwrite(file.get(), "changed", 7, 0), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(readFile(top / "sent"), std::string(4 * kMiB, 'f'));
  disk.makeRoom();
  EXPECT_EQ(::pwrite(file.get(), "changed", 7, 0), 7) << errno;
  file.reset();
  system.host().signal(SIGCONT);
  expectWhole();
  expectAllArrived(waitUntilSettled(system));
  EXPECT_TRUE(readFile(system.share() / "sent").starts_with("changedf"));
}

// Not even a name has room: those that were acknowledged are there, also for the next process.
TEST_F(FullHereTest, NamesThatWereAcknowledgedOutliveTheProcess) {
  system.host().kill(SIGKILL);
  disk.leave(0);
  int code = 0;
  unsigned made = 0;
  while (code == 0 && made < 10'000) {
    code = fill(top / (std::string(200, 'n') + std::to_string(made)), 0);
    made += code == 0 ? 1 : 0;
  }
  EXPECT_EQ(code, ENOSPC);
  EXPECT_EQ(names(top).size(), made + 3);
  expectWhole();
  // This is how people make room.
  EXPECT_EQ(::unlink((top / (std::string(200, 'n') + "0")).c_str()), 0) << errno;
  // A new process says what is amiss, and leaves all as it is.
  system.extension().kill(SIGKILL);
  system.launchExtension();
  EXPECT_TRUE(system.extension().waitForEnd(std::chrono::seconds(20)));
  EXPECT_NE(system.extensionErrors().find("disk is full"), std::string::npos) << system.extensionErrors();
  disk.makeRoom();
  system.start();
  EXPECT_EQ(names(top).size(), made + 2);
  expectWhole();
  expectAllArrived(waitUntilSettled(system));
}

}  // namespace
}  // namespace zelto::test
