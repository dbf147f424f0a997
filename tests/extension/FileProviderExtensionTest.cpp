#include <unistd.h>

#include "enumeration/FileProviderEnumerator.h"
#include "extension/FileProviderExtension.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

class FileProviderExtensionTest : public ExtensionFixture {
 protected:
  FileProviderExtension extension_{NSFileProviderDomain{"d", "D"}};
};

TEST_F(FileProviderExtensionTest, EachInstanceAnnouncesItselfAndInvalidationOnlyLogs) {
  const FileProviderExtension second(NSFileProviderDomain{"e", "E"});
  extension_.invalidate();
  EXPECT_TRUE(client().server());
  const auto lines = host().messages();
  ASSERT_EQ(5U, lines.size());
  for (const std::size_t start : {0U, 2U}) {
    EXPECT_EQ("FP[Client] Starting", lines[start]);
    EXPECT_THAT(lines[start + 1],
                MatchesRegex("FP\\[SendEvent\\] Broadcasting 'providerListening=[0-9]{2} [A-Z][a-z]{2} "
                             "[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}'"));
  }
  EXPECT_EQ(
      "FP[Main] Invalidate: System is releasing FileProvider (app pid:" + std::to_string(::getpid()) + ")",
      lines[4]);
}

TEST_F(FileProviderExtensionTest, OffersTheClientAsServiceForEveryIdentifier) {
  for (const auto& identifier : {NSFileProviderRootContainerItemIdentifier,
                                 NSFileProviderTrashContainerItemIdentifier, std::string("/nowhere")}) {
    Outcome<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>> sources;
    EXPECT_TRUE(extension_.supportedServiceSourcesForItemIdentifier(identifier, sources.completion()));
    ASSERT_EQ(1U, sources.get<0>().size());
    EXPECT_EQ(&client(), sources.get<0>()[0].get());
    EXPECT_FALSE(sources.get<1>());
  }
}

TEST_F(FileProviderExtensionTest, EnumeratorsComeWithoutError) {
  std::optional<NSError> error;
  EXPECT_EQ(FileProviderEnumerator::enumeratorForRoot(),
            extension_.enumeratorForContainerItemIdentifier("/", {}, &error));
  EXPECT_TRUE(extension_.enumeratorForContainerItemIdentifier("names nothing", {}, &error));
  EXPECT_FALSE(error);
}

TEST_F(FileProviderExtensionTest, WholeDownloadGoesThrough) {
  host().downloadUrl = NSURL::fileURL("/tmp/local");
  host().files["/S/a"] = fileDictionary("/S/a");
  Outcome<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>> download;
  EXPECT_EQ(host().progress,
            extension_.fetchContentsForItemWithIdentifier("/S/a", std::nullopt, {}, download.completion()));
  EXPECT_EQ("/S/a", download.get<1>()->itemIdentifier());
  EXPECT_THAT(host().linesWith("FP[Main]"), ElementsAre("INFO FP[Main] Download:/S/a"));
}

TEST_F(FileProviderExtensionTest, PartialDownloadGoesThroughUnrounded) {
  using Partial = Outcome<std::optional<NSURL>, NSFileProviderItemPtr, NSRange,
                          NSFileProviderMaterializationFlags, std::optional<NSError>>;
  const auto fetch = [this](const std::string& path, NSRange range, Partial& partial) {
    return extension_.fetchPartialContentsForItemWithIdentifier(
        path, {}, {}, range, 4096, NSFileProviderFetchContentsOptions::none, partial.completion());
  };
  host().rangeData = NSData::copyOf("abc");
  host().deliveredRange = {10, 3};
  host().files["/S/a"] = fileDictionary("/S/a");
  host().errors.emplace("/S/b", NSError("host", 1));
  Partial done, failed;
  EXPECT_EQ(host().progress, fetch("/S/a", {0, 0}, done));
  EXPECT_EQ((NSRange{10, 3}), done.get<2>());
  EXPECT_EQ(NSFileProviderMaterializationFlags::none, done.get<3>());
  EXPECT_EQ(std::string(10, '\0') + "abc", contentsOf(done.get<0>()->path()));
  fetch("/S/b", {11, 1}, failed);
  EXPECT_TRUE(failed.get<4>());
  EXPECT_THAT(host().calls(), ElementsAre("range /S/a 0+0 align=4096", "range /S/b 11+1 align=4096"));
  EXPECT_THAT(
      host().messages(),
      testing::IsSupersetOf({"FP[RANGE] Downloading /S/a (0->0)", "FP[RANGE] Downloaded /S/a (10->13)",
                             "FP[RANGE] Downloading /S/b (11->12)", "FP[RANGE] Downloaded /S/b (10->13)"}));
}

}  // namespace
}  // namespace zelto::test
