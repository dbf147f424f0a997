#include "platform/foundation/NSFileManager.h"
#include "tests/extension/WriteRequests.h"
#include "transfer/FileProviderHelper.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// The fake host answers the folder itself at once. It holds what it is asked for each entry until the walk
// waits for it, for a reply that comes earlier is lost.
class ImportTest : public ExtensionFixture {
 protected:
  static FileProviderHelper& helper() { return FileProviderHelper::instance(); }

  std::shared_ptr<NSProgress> import(const std::string& path, const std::optional<NSURL>& contents,
                                     ItemAnswers& answers) {
    return helper().processContainerAtPath(path, true, contents, true, fieldsOf(0x5cf), Fields::none,
                                           answers.completion());
  }
  NSURL local() const { return NSURL::fileURL(dataFolder() + "/local"); }
  NSURL file(const std::string& name, std::size_t size = 1) {
    return localFile(local().path(), name, std::string(size, 'x'));
  }
  // The entries in the order in which a walk comes to them, as remote paths; their replies are held.
  std::vector<std::string> heldEntries(const std::string& path) {
    std::vector<std::string> entries;
    auto walk = NSFileManager::defaultManager().enumeratorAtPath(local().path());
    while (const auto name = walk.nextObject()) {
      entries.push_back(path + "/" + *name);
      host().hold(entries.back());
    }
    return entries;
  }
  static void untilWaitBegins(std::uint64_t number) {
    const auto& waits = helper().importWaits();
    for (auto now = waits.load(); now < number; now = waits.load()) waits.wait(now);
  }
  // Answers the entries one after the other.
  void answer(const std::vector<std::string>& entries) {
    for (const auto& entry : entries) {
      untilWaitBegins(++answered_);
      host().release(entry);
    }
  }

  std::uint64_t answered_ = 0;
};

TEST_F(ImportTest, FolderWithoutContentsIsDoneOnceTheHostHasIt) {
  host().files["/S/d"] = folderDictionary("/S/d");
  host().hold("/S/d");
  ItemAnswers answers;
  EXPECT_EQ(0, import("/S/d", std::nullopt, answers)->totalUnitCount());
  EXPECT_EQ(0U, answers.count());
  host().release("/S/d");
  EXPECT_EQ("/S/d", answers.only().item->itemIdentifier());
  EXPECT_EQ(Fields::lastUsedDate, answers.only().pending);
  EXPECT_FALSE(answers.only().fetchContent || answers.only().error);
  EXPECT_THAT(host().calls(), ElementsAre("createDirectory /S/d mayExist=1"));
  EXPECT_THAT(host().linesWith("FP[CONTAINER]"), ElementsAre("INFO FP[CONTAINER] Created directory /S/d"));
}

TEST_F(ImportTest, FolderThatTheHostRefusesIsNotWalked) {
  host().errors.emplace("/S/d", kFailure);
  file("a");
  ItemAnswers answers;
  import("/S/d", local(), answers);
  EXPECT_FALSE(answers.only().item);
  EXPECT_EQ(fieldsOf(0x5cf), answers.only().pending);
  EXPECT_EQ(kFailure, answers.only().error);
  EXPECT_THAT(host().calls(), ElementsAre("createDirectory /S/d mayExist=1"));
  EXPECT_THAT(host().linesWith("FP[CONTAINER]"),
              ElementsAre("*** ERROR* ** FP[CONTAINER] Failed to create directory /S/d. Reason: disk full"));
}

TEST_F(ImportTest, TreeIsBroughtOverEntryByEntryFoldersFirst) {
  file("a/b");
  std::filesystem::create_directory(local().path() + "/a/empty");
  host().files["/S/d"] = folderDictionary("/S/d");
  const auto entries = heldEntries("/S/d");
  ASSERT_EQ("/S/d/a", entries.at(0));
  std::vector<std::string> uploaded;
  host().onUpload = [&uploaded](const NSURL& url) { uploaded.push_back(contentsOf(url.path())); };
  ItemAnswers answers;
  import("/S/d", local(), answers);
  untilWaitBegins(1);
  EXPECT_EQ(2U, host().calls().size()) << "the next entry was not waited for";
  answer(entries);
  EXPECT_EQ("/S/d", answers.only().item->itemIdentifier());
  EXPECT_EQ(Fields::lastUsedDate, answers.only().pending);
  EXPECT_THAT(uploaded, ElementsAre("x"));
  auto calls = host().calls();
  ASSERT_EQ(4U, calls.size());
  EXPECT_EQ("createDirectory /S/d mayExist=1", calls[0]);
  EXPECT_EQ("createDirectory /S/d/a mayExist=0", calls[1]);
  EXPECT_THAT(calls, testing::IsSupersetOf(
                         {testing::Matcher<std::string>(StartsWith("upload /S/d/a/b creating=1 date=2")),
                          testing::Matcher<std::string>("createDirectory /S/d/a/empty mayExist=0")}));
  EXPECT_THAT(host().linesWith("FP[IMPORT]"),
              testing::UnorderedElementsAre("DEBUG FP[IMPORT]   • Created Dir /S/d/a",
                                            "DEBUG FP[IMPORT]   • Queued /S/d/a/b",
                                            "DEBUG FP[IMPORT]   • Created Dir /S/d/a/empty"));
}

TEST_F(ImportTest, WhatIsNeitherFileNorFolderBecomesAnEmptyFile) {
  std::filesystem::create_directories(local().path());
  std::filesystem::create_directory_symlink(dataFolder(), local().path() + "/link");
  host().onUpload = [](const NSURL& url) { EXPECT_EQ("", contentsOf(url.path())); };
  ItemAnswers answers;
  const auto entries = heldEntries("/S/d");
  EXPECT_EQ(0, import("/S/d", local(), answers)->totalUnitCount());
  answer(entries);
  EXPECT_FALSE(answers.only().error);
  EXPECT_THAT(host().calls(),
              ElementsAre("createDirectory /S/d mayExist=1", StartsWith("upload /S/d/link ")));
  EXPECT_THAT(host().linesWith("FP[IMPORT]"),
              ElementsAre("WARN FP[IMPORT]   • Unsupported file /S/d/link (NSFileTypeSymbolicLink)"));
}

TEST_F(ImportTest, TotalIsTheLastFilesSizeAndCompletedTheSumOfWhatTheHostHas) {
  for (const auto& [name, size] : {std::pair("p", 10), std::pair("q", 20), std::pair("r", 30)}) {
    file(name, static_cast<std::size_t>(size));
    const auto path = std::string("/S/d/") + name;
    host().files[path] = fileDictionary(path, {{"size", size * 100}});
  }
  host().files.erase("/S/d/q");  // the host gives no item for it
  ItemAnswers answers;
  const auto entries = heldEntries("/S/d");
  const auto last = std::filesystem::file_size(local().path() + "/" + lastPathComponent(entries.back()));
  const auto progress = import("/S/d", local(), answers);
  EXPECT_EQ(last, static_cast<std::uint64_t>(progress->totalUnitCount()));
  answer(entries);
  EXPECT_FALSE(answers.only().error);
  EXPECT_EQ(4000, progress->completedUnitCount());
  EXPECT_EQ(0, helper().countContainerSubItemsAtUrl(NSURL::fileURL("/nonexistent"))->totalUnitCount());
}

TEST_F(ImportTest, FirstFailureEndsTheWalk) {
  for (const auto* name : {"1", "2", "3", "4", "5"}) file(name);
  auto entries = heldEntries("/S/d");
  host().errors.emplace(entries.at(2), kFailure);
  ItemAnswers answers;
  import("/S/d", local(), answers);
  entries.resize(3);
  answer(entries);
  EXPECT_FALSE(answers.only().item);
  EXPECT_EQ(fieldsOf(0x5cf), answers.only().pending);
  EXPECT_EQ(kFailure, answers.only().error);
  EXPECT_EQ(4U, host().calls().size()) << "entries after the failed one were asked for";
  EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(local().path()),
                             std::filesystem::directory_iterator()));
  EXPECT_THAT(
      host().linesWith("Failed to import"),
      ElementsAre("WARN FP[IMPORT] Failed to import " + entries[2] + ". Reason: " + description(kFailure),
                  "*** ERROR* ** FP[CONTAINER] Failed to import content /S/d. Reason: disk full"));
}

TEST_F(ImportTest, FailedFolderEndsTheWalkToo) {
  file("a/b");
  host().errors.emplace("/S/d/a", kFailure);
  heldEntries("/S/d");
  ItemAnswers answers;
  import("/S/d", local(), answers);
  answer({"/S/d/a"});
  EXPECT_EQ(kFailure, answers.only().error);
  EXPECT_EQ(1U, host().linesWith("Created Dir /S/d/a").size());
}

TEST_F(ImportTest, ImportsWaitForEachOther) {
  file("a");
  const auto entries = heldEntries("/S/d");
  ItemAnswers first, second;
  import("/S/d", local(), first);
  untilWaitBegins(1);
  import("/S/e", std::nullopt, second);
  EXPECT_EQ("createDirectory /S/e mayExist=1", host().calls().back());
  EXPECT_EQ(0U, second.count());
  answer(entries);
  EXPECT_FALSE(first.only().error);
  EXPECT_FALSE(second.only().error);
}

// Deliberate: who watches imports has to notice.
TEST_F(ImportTest, ReplyBeforeTheWaitIsLostAndTheQueueIsStuck) {
  std::filesystem::create_directories(local().path());
  std::filesystem::create_symlink("anywhere", local().path() + "/link");
  ASSERT_TRUE(FileProviderUtils::urlForGroupDirectory());
  loseGroupDirectory();
  ItemAnswers stuck, behind;
  import("/S/d", local(), stuck);
  import("/S/e", std::nullopt, behind);
  untilWaitBegins(1);
  EXPECT_EQ("WARN FP[IMPORT]   • Unsupported file /S/d/link (NSFileTypeSymbolicLink)",
            host().linesWith("FP[IMPORT]").at(0))
      << "the reply was not before the wait";
  EXPECT_FALSE(behind.arrivesWithin(std::chrono::milliseconds(200)));
  EXPECT_EQ(0U, stuck.count());
  EXPECT_FALSE(stuck.destroyed() || behind.destroyed());
  EXPECT_EQ(1U, helper().importWaits());
}

}  // namespace
}  // namespace zelto::test
