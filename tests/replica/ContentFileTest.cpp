#include <atomic>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "ReplicaFixture.h"

namespace zelto {
namespace {

class ContentFileTest : public ReplicaFixture {
 protected:
  void SetUp() override {
    ReplicaFixture::SetUp();
    open();
    listSmallTree();
    file = at("a/file");
  }
  // A delivered file that has only this range, at its own offset.
  std::string deliveredAt(std::uint64_t offset, const std::string& bytes) {
    return delivered(std::string(offset, '\0') + bytes);
  }
  static std::int64_t code(const std::optional<NSError>& failure) { return failure ? failure->code() : 0; }

  Inode file = 0;
};

TEST_F(ContentFileTest, TheFirstDeliveryIsRenamedIntoPlace) {
  const auto made = content(file);
  EXPECT_EQ(made->descriptor(), -1);
  EXPECT_EQ(contentFilesOnDisk(), 0U);
  const std::string path = delivered("0123456789");
  struct stat before {
  }, after{};
  ASSERT_EQ(::stat(path.c_str(), &before), 0);
  ASSERT_EQ(code(made->takeOver(path, {0, 10})), 0);
  ASSERT_EQ(::fstat(made->descriptor(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_TRUE(made->complete());
  EXPECT_EQ(content(file), made);
  EXPECT_EQ(replica->counts().materialisedFiles, 1U);
  EXPECT_EQ(replica->counts().materialisedBytes, 10U);
}

TEST_F(ContentFileTest, RangesMergeAndOnlyTheRangeOfADeliveryCounts) {
  replica->applyListing(at("b"), {fakeFile("/b", "big", 1000)});
  const Inode big = at("b/big");
  auto made = content(big);
  ASSERT_EQ(code(made->takeOver(deliveredAt(100, std::string(50, 'x') + "garbage"), {100, 50})), 0);
  ASSERT_EQ(code(made->takeOver(delivered(std::string(120, 'y') + std::string(400, '!')), {60, 60})), 0);
  EXPECT_EQ(made->ranges(), (std::vector<NSRange>{{60, 90}}));
  EXPECT_EQ(made->missing({0, 2000}), (std::vector<NSRange>{{0, 60}, {150, 850}}));
  EXPECT_EQ(bytesOf(*made).substr(60, 90), std::string(60, 'y') + std::string(30, 'x'));
  made.reset();
  EXPECT_EQ(replica->materialisedRanges(big), (std::vector<NSRange>{{60, 90}}));
  open();
  EXPECT_EQ(replica->materialisedRanges(big), (std::vector<NSRange>{{60, 90}}));
  made = content(big);
  EXPECT_EQ(bytesOf(*made).substr(60, 90), std::string(60, 'y') + std::string(30, 'x'));
  ASSERT_EQ(code(made->takeOver(delivered(std::string(1000, 'z')), {0, 1000})), 0);
  EXPECT_TRUE(made->complete());
  EXPECT_EQ(bytesOf(*made), std::string(1000, 'z'));
}

TEST_F(ContentFileTest, DeliveriesThatAreTooShortOrTooLongAreCut) {
  const auto made = content(file);
  EXPECT_EQ(code(made->takeOver(delivered(""), {0, 10})), 0);
  EXPECT_TRUE(made->ranges().empty());
  EXPECT_EQ(code(made->takeOver(delivered("abc"), {0, 10})), 0);
  EXPECT_EQ(made->ranges(), (std::vector<NSRange>{{0, 3}}));
  EXPECT_EQ(code(made->takeOver(delivered("abcdefghijKLMNOP"), {2, UINT64_MAX})), 0);
  EXPECT_TRUE(made->complete());
  EXPECT_EQ(bytesOf(*made), "abcdefghij");
  EXPECT_EQ(code(made->takeOver(delivered("far"), {1000, 5})), 0);
  EXPECT_EQ(made->materialisedBytes(), 10U);
  struct stat status {};
  ASSERT_EQ(::fstat(made->descriptor(), &status), 0);
  EXPECT_EQ(status.st_size, 10);
}

TEST_F(ContentFileTest, WhatIsNoFileOfOursAloneIsCopiedOrRefused) {
  auto made = content(file);
  const std::string shared = delivered("0123456789"), other = top + "/other";
  std::filesystem::create_hard_link(shared, other);
  ASSERT_EQ(code(made->takeOver(shared, {0, 10})), 0);
  ASSERT_EQ(::pwrite(made->descriptor(), "X", 1, 0), 1);
  EXPECT_EQ(readFile(other), "0123456789");

  replica->evict(file);
  made = content(file);
  const std::string link = top + "/link";
  std::filesystem::create_symlink(other, link);
  EXPECT_NE(code(made->takeOver(link, {0, 10})), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(link));
  const std::string pipe = top + "/pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(code(made->takeOver(pipe, {0, 10})), EINVAL);
  EXPECT_EQ(code(made->takeOver(top + "/none", {0, 10})), ENOENT);
  EXPECT_TRUE(made->ranges().empty());
  EXPECT_EQ(readFile(other), "0123456789");
}

TEST_F(ContentFileTest, AnotherVersionDetachesAndOldHoldersReadOn) {
  materialise(file, 'o');
  const auto old = content(file);
  replica->applyChanges({fakeFile("/a", "file", 10, 2)}, {});
  EXPECT_TRUE(old->detached());
  EXPECT_EQ(bytesOf(*old), std::string(10, 'o'));
  EXPECT_TRUE(replica->materialisedRanges(file).empty());
  const auto fresh = content(file);
  EXPECT_NE(fresh, old);
  EXPECT_EQ(fresh->descriptor(), -1);
  const std::string late = delivered("late bytes");
  EXPECT_EQ(code(old->takeOver(late, {0, 10})), ECANCELED);
  EXPECT_FALSE(std::filesystem::exists(late));
  ASSERT_EQ(code(fresh->takeOver(delivered("new bytes!"), {0, 10})), 0);
  EXPECT_EQ(bytesOf(*old), std::string(10, 'o'));
  EXPECT_EQ(bytesOf(*fresh), "new bytes!");
  EXPECT_EQ(contentFilesOnDisk(), 1U);
  // Another date of the item alone leaves the content where it is.
  auto dated = fakeFile("/a", "file", 10, 2);
  dated->usedField = 12;
  replica->applyChanges({dated}, {});
  EXPECT_FALSE(fresh->detached());
}

TEST_F(ContentFileTest, AnEmptyFileIsCompleteAndLeavesNothingBehind) {
  replica->applyListing(at("b"), {fakeFile("/b", "empty", 0)});
  {
    const auto made = content(at("b/empty"));
    EXPECT_TRUE(made->complete());
    EXPECT_EQ(code(made->takeOver(delivered("more"), {0, 4})), 0);
    EXPECT_EQ(bytesOf(*made), "");
  }
  EXPECT_EQ(contentFilesOnDisk(), 0U);
}

TEST_F(ContentFileTest, EvictingAFolderReachesWhatIsNotLoaded) {
  materialise(file, 'a');
  materialise(at("a/deep/inner"), 'b');
  materialise(at("top"), 'c');
  const Inode folder = at("a"), inner = at("a/deep/inner");
  open();
  EXPECT_EQ(replica->evict(folder), 20U);
  EXPECT_EQ(replica->evict(folder), 0U);
  EXPECT_EQ(contentFilesOnDisk(), 1U);
  EXPECT_TRUE(replica->materialisedRanges(inner).empty());
  EXPECT_EQ(content(inner)->descriptor(), -1);
  EXPECT_EQ(replica->evict(at("top")), 10U);
  EXPECT_EQ(replica->evict(4711), 0U);
  open();
  EXPECT_EQ(replica->counts().materialisedFiles, 0U);
}

TEST_F(ContentFileTest, OnlyFilesHaveContentAndOneThatIsGoneIsFetchedAgain) {
  EXPECT_EQ(replica->content(at("a")).error().code(), ENOENT);
  EXPECT_EQ(replica->content(999).error().code(), ENOENT);
  materialise(file, 'a');
  materialise(at("top"), 'b');
  open();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory + "/content")) {
    if (entry.is_regular_file()) std::filesystem::resize_file(entry.path(), 3);
  }
  const auto made = content(file);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->descriptor(), -1);
  EXPECT_TRUE(made->ranges().empty());
}

TEST_F(ContentFileTest, WantOfDescriptorsLosesNothing) {
  materialise(file, 'a');
  open();
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 1;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto refused = replica->content(file);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().code(), EMFILE);
  EXPECT_EQ(bytesOf(*content(file)), std::string(10, 'a'));
}

TEST_F(ContentFileTest, AFileInUseOutlivesItsReplica) {
  const auto made = content(file);
  replica.reset();
  EXPECT_EQ(code(made->takeOver(delivered("0123456789"), {0, 10})), 0);
  EXPECT_EQ(bytesOf(*made), "0123456789");
}

TEST_F(ContentFileTest, ReadersSeeOnlyBytesThatAreThere) {
  constexpr std::uint64_t kSize = 1 << 20, kPart = 1 << 14;
  replica->applyListing(at("b"), {fakeFile("/b", "big", kSize)});
  const auto made = content(at("b/big"));
  std::atomic<bool> done = false;
  std::atomic<int> wrong = 0;
  std::thread reader([&] {
    std::string bytes(kPart, ' ');
    for (std::uint64_t at = 0; !done; at = (at + kPart) % kSize) {
      if (!made->covers({at, kPart})) continue;
      const ssize_t got = ::pread(made->descriptor(), bytes.data(), kPart, static_cast<off_t>(at));
      if (got != kPart || bytes != std::string(kPart, static_cast<char>('a' + at / kPart % 26))) ++wrong;
    }
  });
  for (std::uint64_t part = 0; part < kSize / kPart; ++part) {
    const std::uint64_t offset = part * 37 % (kSize / kPart) * kPart;
    const std::string bytes(kPart, static_cast<char>('a' + offset / kPart % 26));
    EXPECT_EQ(code(made->takeOver(deliveredAt(offset, bytes), {offset, kPart})), 0);
  }
  EXPECT_TRUE(made->complete());
  done = true;
  reader.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace zelto
