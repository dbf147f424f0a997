#include <algorithm>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/UniqueDescriptor.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

constexpr std::size_t kMiB = 1 << 20;

UniqueDescriptor opened(const fs::path& path, int flags, mode_t mode = 0644) {
  return UniqueDescriptor(::open(path.c_str(), flags | O_CLOEXEC, mode));
}

// The errno value of opening, 0 when it succeeds.
int errnoOfOpening(const fs::path& path, int flags) { return opened(path, flags) ? 0 : errno; }

bool writeAt(const UniqueDescriptor& file, const std::string& bytes, off_t at) {
  return ::pwrite(file.get(), bytes.data(), bytes.size(), at) == static_cast<ssize_t>(bytes.size());
}

std::string readAt(const UniqueDescriptor& file, std::size_t length, off_t at) {
  std::string bytes(length, '?');
  const ssize_t count = ::pread(file.get(), bytes.data(), length, at);
  if (count < 0) return "errno " + std::to_string(errno);
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

struct stat attributesOf(const UniqueDescriptor& file) {
  struct stat attributes {};
  EXPECT_EQ(::fstat(file.get(), &attributes), 0) << errno;
  return attributes;
}

// Bytes that differ from place to place.
std::string pattern(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint32_t state = 1;
  for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return bytes;
}

// Stops a process and waits until every thread of it stands still; a signal alone only asks for that.
void halt(const Process& process) {
  process.signal(SIGSTOP);
  const fs::path tasks = "/proc/" + std::to_string(process.pid()) + "/task";
  const auto stands = [](const fs::path& task) { return readFile(task / "stat").contains(") T "); };
  EXPECT_TRUE(eventually([&] {
    return std::ranges::all_of(fs::directory_iterator(tasks), stands, &fs::directory_entry::path);
  }));
}

TEST(WriteTest, AFileIsMadeWrittenExtendedAndCut) {
  TestSystem system;
  system.start();
  const fs::path file = system.mounted() / "new";
  ::umask(0027);
  {
    const UniqueDescriptor made = opened(file, O_WRONLY | O_CREAT | O_EXCL, 0666);
    ASSERT_TRUE(made) << errno;
    EXPECT_EQ(errnoOfOpening(file, O_WRONLY | O_CREAT | O_EXCL), EEXIST);
    EXPECT_EQ(attributesOf(made).st_mode, static_cast<mode_t>(S_IFREG | 0640));
    const std::string bytes = pattern(3 * kMiB + 17);
    ASSERT_TRUE(writeAt(made, bytes, 0));
    EXPECT_EQ(attributesOf(made).st_size, static_cast<off_t>(bytes.size()));
    EXPECT_EQ(::fsync(made.get()), 0);
    EXPECT_EQ(readFile(file), bytes);
  }
  EXPECT_EQ(names(system.mounted()), std::vector<std::string>{"new"});
  {
    const UniqueDescriptor end = opened(file, O_WRONLY | O_APPEND);
    ASSERT_EQ(::ftruncate(end.get(), 3), 0);
    ASSERT_EQ(::write(end.get(), "abc", 3), 3);
    ASSERT_EQ(::ftruncate(end.get(), 8), 0);
  }
  EXPECT_EQ(readFile(file), pattern(3) + std::string("abc\0\0", 5));
  ASSERT_EQ(::truncate(file.c_str(), 4), 0);
  EXPECT_EQ(readFile(file), pattern(3) + "a");
  EXPECT_TRUE(opened(file, O_WRONLY | O_CREAT | O_TRUNC));
  EXPECT_EQ(fs::file_size(file), 0U);
  const UniqueDescriptor readOnly = opened(system.mounted() / "read-only", O_RDONLY | O_CREAT, 0400);
  EXPECT_EQ(attributesOf(readOnly).st_mode, static_cast<mode_t>(S_IFREG | 0400));
  EXPECT_EQ(::fsync(readOnly.get()), 0);
}

TEST(WriteTest, AllHandlesOfAFileSeeWhatOneWrites) {
  TestSystem system;
  writeFile(system.share() / "file", "from the server");
  system.start();
  const fs::path file = system.mounted() / "file";
  const UniqueDescriptor reader = opened(file, O_RDONLY);
  EXPECT_EQ(readAt(reader, 4, 0), "from");
  const UniqueDescriptor first = opened(file, O_RDWR);
  const UniqueDescriptor second = opened(file, O_RDWR);
  ASSERT_TRUE(first && second);
  ASSERT_TRUE(writeAt(first, "FROM", 0));
  ASSERT_TRUE(writeAt(second, " and longer", 15));
  for (const auto* handle : {&reader, &first, &second}) {
    EXPECT_EQ(readAt(*handle, 100, 0), "FROM the server and longer");
    EXPECT_EQ(attributesOf(*handle).st_size, 26);
  }
  const UniqueDescriptor emptying = opened(file, O_WRONLY | O_TRUNC);
  EXPECT_EQ(readAt(reader, 100, 0), "");
  EXPECT_EQ(attributesOf(reader).st_size, 0);
  ASSERT_TRUE(writeAt(first, "x", 2));
  EXPECT_EQ(readAt(reader, 100, 0), std::string("\0\0x", 3));
  ASSERT_EQ(::truncate(file.c_str(), 1), 0);
  EXPECT_EQ(readAt(reader, 100, 0), std::string("\0", 1));
}

TEST(WriteTest, MappedAndUncachedWritesReachTheFile) {
  TestSystem system;
  system.start();
  const fs::path file = system.mounted() / "file";
  constexpr std::size_t kSize = 1 << 20;
  {
    UniqueDescriptor both = opened(file, O_RDWR | O_CREAT);
    ASSERT_EQ(::ftruncate(both.get(), kSize), 0);
    void* const bytes = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, both.get(), 0);
    ASSERT_NE(bytes, MAP_FAILED);
    both = UniqueDescriptor();
    std::ranges::copy(pattern(kSize), static_cast<char*>(bytes));
    EXPECT_EQ(readFile(file), pattern(kSize));
    ASSERT_EQ(::munmap(bytes, kSize), 0);
  }
  // Bypasses the kernel's pages: what the mapping left in them is in the file.
  const UniqueDescriptor direct = opened(file, O_RDWR | O_DIRECT);
  ASSERT_TRUE(direct) << errno;
  alignas(4096) static char block[4096];
  ASSERT_EQ(::pread(direct.get(), block, sizeof block, 8192), 4096);
  EXPECT_EQ(std::string(block, sizeof block), pattern(kSize).substr(8192, 4096));
  std::ranges::fill(block, 'd');
  ASSERT_EQ(::pwrite(direct.get(), block, sizeof block, kSize), 4096);
  EXPECT_EQ(readFile(file), pattern(kSize) + std::string(4096, 'd'));
}

TEST(WriteTest, AFileWithoutANameLivesOnForThoseWhoHaveItOpen) {
  TestSystem system;
  writeFile(system.share() / "removed", "old bytes");
  writeFile(system.share() / "replaced", "old bytes");
  system.start();
  for (const char* name : {"removed", "replaced"}) {
    const fs::path file = system.mounted() / name;
    const UniqueDescriptor reader = opened(file, O_RDONLY);
    const UniqueDescriptor writer = opened(file, O_RDWR);
    ASSERT_TRUE(reader && writer);
    if (name == std::string("removed")) {
      ASSERT_EQ(::unlink(file.c_str()), 0) << errno;
      EXPECT_EQ(errnoOfOpening(file, O_RDONLY), ENOENT);
      writeFile(file, "another");
    } else {
      writeFile(system.mounted() / "new", "another");
      ASSERT_EQ(::rename((system.mounted() / "new").c_str(), file.c_str()), 0) << errno;
    }
    ASSERT_TRUE(writeAt(writer, " and new ones", 9));
    EXPECT_EQ(readAt(reader, 100, 0), "old bytes and new ones");
    ASSERT_EQ(::ftruncate(writer.get(), 9), 0);
    EXPECT_EQ(::fchmod(writer.get(), 0600), 0);
    EXPECT_EQ(::fsync(writer.get()), 0);
    EXPECT_EQ(attributesOf(reader).st_size, 9);
    EXPECT_EQ(attributesOf(reader).st_nlink, 0U);
    EXPECT_EQ(readFile(file), "another");
  }
  EXPECT_EQ(names(system.mounted()), (std::vector<std::string>{"removed", "replaced"}));
}

TEST(WriteTest, WhatTheServerRemovesOrReplacesStaysForThoseWhoHaveItOpen) {
  TestSystem system;
  for (const char* name : {"removed", "replaced"}) writeFile(system.share() / name, "old bytes");
  system.start();
  // Who opens the name just while it changes does not give the new version to those who have the old one.
  const std::jthread opening([file = system.mounted() / "replaced"](const std::stop_token& end) {
    while (!end.stop_requested()) readFile(file);
  });
  const UniqueDescriptor removed = opened(system.mounted() / "removed", O_RDONLY);
  const UniqueDescriptor replaced = opened(system.mounted() / "replaced", O_RDONLY);
  ASSERT_TRUE(removed && replaced);
  fs::remove(system.share() / "removed");
  writeFile(system.share() / "replaced", "other and longer bytes");
  EXPECT_TRUE(
      eventually([&] { return readFile(system.mounted() / "replaced") == "other and longer bytes"; }));
  EXPECT_TRUE(eventually([&] { return !fs::exists(system.mounted() / "removed"); }));
  for (const auto* handle : {&removed, &replaced}) {
    EXPECT_EQ(readAt(*handle, 100, 0), "old bytes");
    EXPECT_EQ(attributesOf(*handle).st_size, 9);
  }
  EXPECT_EQ(attributesOf(removed).st_nlink, 0U);
  // Written to under its name, it is the new one that changes.
  ASSERT_TRUE(writeAt(opened(system.mounted() / "replaced", O_WRONLY), "OTHER", 0));
  EXPECT_EQ(readFile(system.mounted() / "replaced"), "OTHER and longer bytes");
  EXPECT_EQ(readAt(replaced, 100, 0), "old bytes");
}

TEST(WriteTest, AFileThatIsPartlyHereComesWholeBeforeItIsChanged) {
  TestSystem system;
  const std::string bytes = pattern(5 * kMiB + 3);
  for (const char* name : {"written", "cut", "emptied"}) writeFile(system.share() / name, bytes);
  system.start();
  EXPECT_EQ(readAt(opened(system.mounted() / "written", O_RDONLY), 10, 4 * kMiB), bytes.substr(4 * kMiB, 10));
  ASSERT_TRUE(writeAt(opened(system.mounted() / "written", O_WRONLY), "HERE", 100));
  ASSERT_EQ(::truncate((system.mounted() / "cut").c_str(), 2 * kMiB), 0);
  std::string expected = bytes;
  expected.replace(100, 4, "HERE");
  EXPECT_EQ(readFile(system.mounted() / "written"), expected);
  EXPECT_EQ(readFile(system.mounted() / "cut"), bytes.substr(0, 2 * kMiB));
  // Nothing of it is wanted, nothing of it is fetched.
  const std::int64_t sent = system.hostBytes();
  ASSERT_TRUE(writeAt(opened(system.mounted() / "emptied", O_WRONLY | O_TRUNC), "small", 0));
  EXPECT_EQ(readFile(system.mounted() / "emptied"), "small");
  EXPECT_EQ(system.hostBytes(), sent);
}

TEST(WriteTest, AVersionThatComesWhileAFileIsFetchedIsTheOneThatIsChanged) {
  TestSystem system;
  writeFile(system.share() / "file", pattern(3 * kMiB));
  system.start();
  const fs::path file = system.mounted() / "file";
  EXPECT_EQ(fs::file_size(file), 3 * kMiB);
  const auto inFlight = [&] { return system.status().find("requestsInFlight")->integerValue(); };
  ASSERT_TRUE(eventually([&] { return inFlight() == 0; }));
  halt(system.host());
  UniqueDescriptor writer;
  std::thread opening([&] { writer = opened(file, O_RDWR); });
  EXPECT_TRUE(eventually([&] { return inFlight() > 0; }));
  std::string expected = "longer " + pattern(4 * kMiB);
  writeFile(system.share() / "file", expected);
  system.host().signal(SIGCONT);
  opening.join();
  ASSERT_TRUE(writer);
  ASSERT_TRUE(writeAt(writer, "LONGER", 0));
  expected.replace(0, 6, "LONGER");
  EXPECT_TRUE(readAt(writer, expected.size() + 1, 0) == expected);
  EXPECT_TRUE(readFile(file) == expected);
}

TEST(WriteTest, AFileThatIsThereUnseenIsOpenedRatherThanMade) {
  TestSystem system;
  for (const char* folder : {"one", "two"}) writeFile(system.share() / folder / ".hidden", "from the server");
  system.start();
  // This name is not looked up on the server as long as its folder has not been listed.
  EXPECT_EQ(readAt(opened(system.mounted() / "one" / ".hidden", O_RDWR | O_CREAT), 100, 0),
            "from the server");
  EXPECT_EQ(errnoOfOpening(system.mounted() / "two" / ".hidden", O_WRONLY | O_CREAT | O_EXCL), EEXIST);
}

TEST(WriteTest, WithoutAHostWhatIsHereCanBeChangedAndTheRestSaysSo) {
  TestSystem system;
  const std::string bytes = pattern(2 * kMiB);
  writeFile(system.share() / "here", "known");
  writeFile(system.share() / "there", bytes);
  system.startExtension({"--request-limit", "300"});
  system.startHost();
  system.waitUntilConnected();
  EXPECT_EQ(readFile(system.mounted() / "here"), "known");
  EXPECT_EQ(readAt(opened(system.mounted() / "there", O_RDONLY), 1, 0), bytes.substr(0, 1));
  system.extension().kill(SIGTERM);  // in good order: what is listed is on disk then
  system.startExtension({"--request-limit", "300"});
  system.waitUntilConnected();
  system.host().kill(SIGKILL);
  ASSERT_TRUE(eventually([&] { return !*system.status().find("hostConnected")->asBoolean(); }));
  ASSERT_TRUE(writeAt(opened(system.mounted() / "here", O_WRONLY), "KNOWN", 0));
  EXPECT_EQ(errnoOfOpening(system.mounted() / "there", O_WRONLY), EHOSTDOWN);
  EXPECT_EQ(errnoOfOpening(system.mounted() / "there", O_WRONLY | O_TRUNC), 0);
  writeFile(system.mounted() / "made" / "deeper" / "file", "without a host");
  system.extension().kill(SIGKILL);
  system.startExtension();
  EXPECT_EQ(readFile(system.mounted() / "here"), "KNOWN");
  EXPECT_EQ(readFile(system.mounted() / "there"), "");
  EXPECT_EQ(readFile(system.mounted() / "made" / "deeper" / "file"), "without a host");
}

TEST(WriteTest, SpaceIsReservedPunchedAndCopied) {
  TestSystem system;
  system.start();
  const std::string bytes = pattern(3 * kMiB);
  writeFile(system.mounted() / "source", bytes);
  const UniqueDescriptor file = opened(system.mounted() / "file", O_RDWR | O_CREAT);
  ASSERT_EQ(::fallocate(file.get(), 0, 0, 100), 0) << errno;
  EXPECT_EQ(attributesOf(file).st_size, 100);
  EXPECT_EQ(::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, 1 << 20), 0) << errno;
  EXPECT_EQ(attributesOf(file).st_size, 100);
  EXPECT_EQ(::fallocate(file.get(), FALLOC_FL_COLLAPSE_RANGE, 0, 4096), -1);
  EXPECT_EQ(errno, EOPNOTSUPP);
  const UniqueDescriptor source = opened(system.mounted() / "source", O_RDONLY);
  off_t from = 1, to = 100;
  std::size_t left = bytes.size() - 1;
  while (left > 0) {
    const ssize_t count = ::copy_file_range(source.get(), &from, file.get(), &to, left, 0);
    ASSERT_GT(count, 0) << errno;
    left -= static_cast<std::size_t>(count);
  }
  EXPECT_EQ(::copy_file_range(source.get(), &from, file.get(), &to, 10, 0), 0);
  std::string expected = std::string(100, '\0') + bytes.substr(1);
  EXPECT_EQ(readFile(system.mounted() / "file"), expected);
  ASSERT_EQ(::fallocate(file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 4096, 8192), 0) << errno;
  EXPECT_EQ(readFile(system.mounted() / "file"), expected.replace(4096, 8192, std::string(8192, '\0')));
}

TEST(WriteTest, WritersAtTheSameTimeLoseNothing) {
  TestSystem system;
  system.start();
  constexpr int kThreads = 4, kLines = 500;
  std::vector<std::thread> writers;
  for (int thread = 0; thread < kThreads; ++thread) {
    writers.emplace_back([&, thread] {
      const UniqueDescriptor log = opened(system.mounted() / "log", O_WRONLY | O_CREAT | O_APPEND);
      for (int line = 0; line < kLines; ++line) {
        const std::string text = std::to_string(thread) + ":" + std::to_string(line) + "\n";
        EXPECT_EQ(::write(log.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
        const fs::path own = system.mounted() / ("own" + std::to_string(thread));
        writeFile(own / "draft", text);
        EXPECT_EQ(::rename((own / "draft").c_str(), (own / "final").c_str()), 0) << errno;
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  const std::string log = readFile(system.mounted() / "log");
  EXPECT_EQ(std::ranges::count(log, '\n'), kThreads * kLines);
  for (int thread = 0; thread < kThreads; ++thread) {
    const std::string last = std::to_string(thread) + ":" + std::to_string(kLines - 1) + "\n";
    EXPECT_NE(log.find(last), std::string::npos);
    const fs::path own = system.mounted() / ("own" + std::to_string(thread));
    EXPECT_EQ(names(own), std::vector<std::string>{"final"});
    EXPECT_EQ(readFile(own / "final"), last);
  }
}

}  // namespace
}  // namespace zelto::test
