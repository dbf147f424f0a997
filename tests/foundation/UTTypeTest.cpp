#include <cstdlib>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/TypeRegistry.h"
#include "platform/foundation/UTType.h"
#include "tests/foundation/TemporaryFolder.h"

namespace zelto {
namespace {

// The shipped table over MIME data of the test's own.
class UTTypeTest : public testing::Test {
 protected:
  UTTypeTest() {
    ::setenv("ZELTO_RESOURCES", ZELTO_RESOURCE_FOLDER, 1);
    ::setenv("XDG_DATA_HOME", folder_.path("user").c_str(), 1);
    ::setenv("XDG_DATA_DIRS", (folder_.path("first") + ":" + folder_.path("second")).c_str(), 1);
    folder_.write(
        "second/mime/globs2",
        "# comment\n60:text/x-python:*.py\n50:text/plain:*.txt\n50:application/x-compressed-tar:*.tar.gz\n"
        "50:application/gzip:*.gz\n50:text/x-makefile:makefile\n50:text/x-c++src:*.C:cs\n50:text/"
        "x-csrc:*.c:cs\n"
        "60:application/x-sharedlib:*.so.[0-9]*\n50:application/x-troff-man:*.[1-9]\n10:text/"
        "x-readme:readme*\n"
        "50:application/x-vnd.strange:*.odd\n50:text/x-old:*.dropped\n50:audio/low:*.mixed\n"
        "80:video/high:*.mixed\n50:image/svg+xml:*.svg\n50:image/jpeg:*.jpg\nnonsense\n:::\nx:y\n50:a/b:\n");
    folder_.write("second/mime/types", "application/x-vnd.strange\ntext/x-readme\nimage/x-own\naudio/low\n");
    folder_.write("second/mime/aliases",
                  "application/x-strange application/x-vnd.strange\ntext/x-other text/html\n");
    folder_.write("second/mime/subclasses",
                  "application/x-vnd.strange application/zip\nimage/x-own application/xml\n"
                  "audio/low text/x-readme\ntext/x-readme audio/low\n");
    folder_.write("first/mime/globs2",
                  "0:text/x-old:__NOGLOBS__\n50:text/markdown:*.txt2\n50:text/special:*.svg\n");
  }

  std::string identifierForMime(std::string_view mimeType) {
    const auto type = UTType::typeWithMIMEType(mimeType);
    return type ? type->identifier() : "none";
  }
  std::string identifierForExtension(std::string_view extension) {
    const auto type = UTType::typeWithFilenameExtension(extension);
    return type ? type->identifier() : "none";
  }

  TemporaryFolder folder_;
};

TEST_F(UTTypeTest, findsTableTypesByMimeTypeAndExtension) {
  EXPECT_EQ(identifierForMime("image/JPEG"), "public.jpeg");
  EXPECT_EQ(identifierForMime("text/plain; charset=utf-8"), "public.plain-text");
  EXPECT_EQ(identifierForMime("application/octet-stream"), "public.data");
  EXPECT_EQ(identifierForMime("text/x-other"), "public.html") << "alias";
  EXPECT_EQ(identifierForExtension("PDF"), "com.adobe.pdf");
  EXPECT_EQ(identifierForMime("inode/directory"), UTType::folder().identifier());
  EXPECT_EQ(identifierForMime("no/such"), "none");
  EXPECT_EQ(identifierForMime(""), "none");
  EXPECT_EQ(identifierForExtension(""), "none");
}

TEST_F(UTTypeTest, makesTypesOfWhatOnlyTheSystemKnows) {
  EXPECT_EQ(identifierForMime("application/x-vnd.strange"), "org.freedesktop.mime.application.x-vnd.strange");
  EXPECT_EQ(identifierForMime("application/x-strange"), "org.freedesktop.mime.application.x-vnd.strange");
  EXPECT_EQ(identifierForExtension("odd"), "org.freedesktop.mime.application.x-vnd.strange");
  const auto strange = UTType::typeWithFilenameExtension("odd");
  EXPECT_TRUE(strange->conformsTo(*UTType::typeWithMIMEType("application/zip")));
  EXPECT_TRUE(strange->conformsTo(*UTType::typeWithMIMEType("application/octet-stream")));
  const auto own = UTType::typeWithMIMEType("image/x-own");
  EXPECT_TRUE(own->conformsTo(*UTType::typeWithMIMEType("text/xml")));
  EXPECT_FALSE(own->conformsTo(*UTType::typeWithMIMEType("image/png")));
  EXPECT_EQ(*UTType::typeWithMIMEType("application/x-strange"), *strange);
}

TEST_F(UTTypeTest, conformsUpwardsOnly) {
  EXPECT_TRUE(UTType::folder().conformsTo(UTType::directory()));
  EXPECT_TRUE(UTType::folder().conformsTo(UTType::folder()));
  EXPECT_FALSE(UTType::directory().conformsTo(UTType::folder()));
  EXPECT_FALSE(UTType::symbolicLink().conformsTo(UTType::directory()));
  EXPECT_TRUE(UTType::typeWithFilenameExtension("app")->conformsTo(UTType::directory()));
  EXPECT_FALSE(UTType::typeWithFilenameExtension("html")->conformsTo(UTType::directory()));
}

TEST_F(UTTypeTest, endsWhereTwoTypesStandUnderEachOther) {
  const auto low = UTType::typeWithMIMEType("audio/low");
  EXPECT_TRUE(low->conformsTo(*UTType::typeWithMIMEType("text/x-readme")));
  EXPECT_FALSE(low->conformsTo(UTType::folder()));
}

TEST_F(UTTypeTest, appliesGlobRules) {
  EXPECT_EQ(mimeTypeForFilename("a.txt"), "text/plain");
  EXPECT_EQ(mimeTypeForFilename("A.TXT"), "text/plain");
  EXPECT_EQ(mimeTypeForFilename("x.y.tar.gz"), "application/x-compressed-tar") << "longest suffix";
  EXPECT_EQ(mimeTypeForFilename("x.gz"), "application/gzip");
  EXPECT_EQ(mimeTypeForFilename("Makefile"), "text/x-makefile");
  EXPECT_EQ(mimeTypeForFilename("a.C"), "text/x-c++src");
  EXPECT_EQ(mimeTypeForFilename("a.c"), "text/x-csrc");
  EXPECT_EQ(mimeTypeForFilename("libx.so.1"), "application/x-sharedlib") << "greatest weight";
  EXPECT_EQ(mimeTypeForFilename("README.first"), "text/x-readme");
  EXPECT_EQ(mimeTypeForFilename("a.mixed"), "video/high");
  for (const auto& name :
       {std::string(), std::string("."), std::string("none"), std::string(".txtx"), std::string(5000, '.')}) {
    EXPECT_EQ(mimeTypeForFilename(name), "application/octet-stream");
  }
}

TEST_F(UTTypeTest, preferredFoldersOverrideOthers) {
  EXPECT_EQ(mimeTypeForFilename("a.txt2"), "text/markdown");
  EXPECT_EQ(mimeTypeForFilename("a.svg"), "text/special");
  EXPECT_EQ(mimeTypeForFilename("a.dropped"), "application/octet-stream");
}

TEST_F(UTTypeTest, worksWithoutAnyTable) {
  const TypeRegistry empty("", {folder_.path("nowhere")});
  EXPECT_NE(empty.typeWithIdentifier("public.folder"), nullptr);
  EXPECT_EQ(empty.typeWithMIMEType("text/plain"), nullptr);
  const TypeRegistry odd(R"({"a": 1, "b": {"conformsTo": [1, "b", "c"], "extensions": "x"}})", {});
  EXPECT_TRUE(odd.conforms("b", "c"));
  EXPECT_FALSE(odd.conforms("c", "b"));
}

TEST_F(UTTypeTest, theShippedTableIsWhole) {
  const auto parsed =
      NSJSONSerialization::valueWithString(contentOf(ZELTO_RESOURCE_FOLDER "/UniformTypes.json"));
  ASSERT_TRUE(parsed);
  std::set<std::string> claimed;
  for (const auto& [identifier, type] : *parsed->asDictionary()) {
    for (const char* key : {"mimeTypes", "extensions", "conformsTo"}) {
      const auto* list = type.asDictionary()->find(key);
      if (list == nullptr) continue;
      for (const auto& name : *list->asArray()) {
        if (std::string_view(key) == "conformsTo") {
          EXPECT_NE(parsed->asDictionary()->find(*name.asString()), nullptr) << *name.asString();
        } else {
          EXPECT_TRUE(claimed.insert(key + *name.asString()).second) << *name.asString();
        }
      }
    }
  }
  const auto& registry = TypeRegistry::shared();
  for (const auto& [identifier, type] : *parsed->asDictionary()) {
    const std::string name(identifier.name());
    EXPECT_TRUE(registry.conforms(name, "public.item") || registry.conforms(name, "public.content")) << name;
  }
}

}  // namespace
}  // namespace zelto
