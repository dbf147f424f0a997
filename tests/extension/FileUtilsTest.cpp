#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "model/FileProviderUtils.h"
#include "support/FileProviderErrorUtils.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;

class FileUtilsTest : public ExtensionFixture {
 protected:
  static std::string path(const std::string& name) { return dataFolder() + "/" + name; }
};

TEST_F(FileUtilsTest, BlocksLandAtTheirOffsetsInAnyOrder) {
  const auto file = path("blocks");
  EXPECT_FALSE(FileProviderUtils::writeData(NSData::copyOf("0123456789"), file, 100));
  EXPECT_EQ(std::string(100, '\0') + "0123456789", contentsOf(file));
  EXPECT_FALSE(FileProviderUtils::writeData(NSData::copyOf("ab"), file, 0));
  EXPECT_EQ("ab" + std::string(98, '\0') + "0123456789", contentsOf(file));
  EXPECT_FALSE(FileProviderUtils::writeData(NSData(), path("empty"), 0));
  EXPECT_EQ("", contentsOf(path("empty")));
}

TEST_F(FileUtilsTest, FailedWritesNameTheStepAndTheSystemsReason) {
  const auto missing = path("no/such/file");
  const auto open = FileProviderUtils::writeData(NSData::copyOf("x"), missing, 0);
  ASSERT_TRUE(open);
  EXPECT_EQ("open error - No such file or directory", open->localizedDescription());
  EXPECT_EQ(NSCocoaErrorDomain, open->domain());
  EXPECT_EQ(0, open->code());
  const auto seek = FileProviderUtils::writeData(NSData::copyOf("x"), path("f"), -1);
  ASSERT_TRUE(seek);
  EXPECT_EQ("seek error - Invalid argument", seek->localizedDescription());
  const auto write = FileProviderUtils::writeData(NSData::copyOf("x"), "/dev/full", 0);
  ASSERT_TRUE(write);
  EXPECT_EQ("write error - No space left on device", write->localizedDescription());
  EXPECT_THAT(
      host().linesWith("FP[Write]"),
      ElementsAre(
          "*** ERROR* ** FP[Write] Write failed for " + missing +
              ". Reason: open error - No such file or directory",
          "*** ERROR* ** FP[Write] Write failed for " + path("f") + ". Reason: seek error - Invalid argument",
          "*** ERROR* ** FP[Write] Write failed for /dev/full. Reason: write error - No space "
          "left on device"));
}

TEST_F(FileUtilsTest, NoDescriptorIsLeftOpen) {
  const auto descriptors = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  const auto before = descriptors();
  for (const std::int64_t offset : {-1, 0}) {
    for (const auto& file : {path("f"), std::string("/dev/full"), path("no/f")}) {
      FileProviderUtils::writeData(NSData::copyOf("x"), file, offset);
    }
  }
  EXPECT_EQ(before, descriptors());
}

TEST_F(FileUtilsTest, StagingMovesOrLinksIntoTheGroupDirectory) {
  const auto source = path("source");
  writeFile(source, "text");
  const auto linked = FileProviderUtils::stagingUrlLinkedFromUrl(NSURL::fileURL(source));
  ASSERT_TRUE(linked);
  EXPECT_TRUE(std::filesystem::equivalent(source, linked->path()));
  const auto moved = FileProviderUtils::stagingUrlMovedFromUrl(NSURL::fileURL(source));
  ASSERT_TRUE(moved);
  EXPECT_FALSE(std::filesystem::exists(source));
  EXPECT_EQ("text", contentsOf(moved->path()));
  EXPECT_NE(linked->path(), moved->path());
}

TEST_F(FileUtilsTest, StagingWhatIsNotThereFailsWithALogLine) {
  const auto source = path("missing");
  const auto linked = FileProviderUtils::stagingUrlLinkedFromUrl(NSURL::fileURL(source));
  ASSERT_FALSE(linked);
  EXPECT_THAT(host().linesWith("FP[UTILS]"),
              ElementsAre("*** ERROR* ** FP[UTILS] Could not stage (link) file " + source +
                          ". Reason: " + description(linked.error())));
}

TEST_F(FileUtilsTest, TemporaryNamesAreFreshUuidsInTheGroupDirectory) {
  const auto first = FileProviderUtils::urlForTemporaryFileInGroupDirectory();
  const auto second = FileProviderUtils::urlForTemporaryFileInGroupDirectory();
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->path(), second->path());
  const std::filesystem::path file(first->path());
  EXPECT_EQ(FileProviderUtils::urlForGroupDirectory()->path(), file.parent_path());
  EXPECT_THAT(file.filename().string(),
              testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(FileUtilsTest, ContentTypesComeFromTheMimeTypeExceptForFolders) {
  EXPECT_EQ(UTType::folder(), FileProviderUtils::contentTypeForMimeType("text/plain", true));
  EXPECT_EQ(UTType::typeWithMIMEType("application/octet-stream"),
            FileProviderUtils::contentTypeForMimeType(std::nullopt, false));
  EXPECT_EQ("public.plain-text",
            FileProviderUtils::contentTypeForMimeType("text/plain", false)->identifier());
  EXPECT_FALSE(FileProviderUtils::contentTypeForMimeType("nonsense/of-no-kind", false));
}

TEST(ErrorUtilsTest, FactoriesGiveDomainCodeAndDescription) {
  using Utils = FileProviderErrorUtils;
  EXPECT_EQ(NSError(NSFileProviderErrorDomain, -2000, {{NSLocalizedDescriptionKey, "r"}}),
            Utils::errorForFileProviderError(-2000, "r"));
  EXPECT_EQ(NSError(NSFileProviderErrorDomain, -1005, {{NSLocalizedDescriptionKey, "r"}}),
            Utils::errorNoSuchItemWithReason("r"));
  EXPECT_EQ(NSError(NSCocoaErrorDomain, 0, {{NSLocalizedDescriptionKey, "r"}}),
            Utils::errorForGenericReason("r"));
  EXPECT_EQ(
      NSError(NSCocoaErrorDomain, 0, {{NSLocalizedDescriptionKey, "open error - No such file or directory"}}),
      Utils::errorWithReason("open error", ENOENT));
  EXPECT_EQ(NSError(NSCocoaErrorDomain, 3072), Utils::errorCancelled());
  EXPECT_EQ(NSError(NSCocoaErrorDomain, 3328), Utils::errorNotSupported());
}

}  // namespace
}  // namespace zelto::test
