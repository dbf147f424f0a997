#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/hostapp/Pictures.h"
#include "tests/system/TestSystem.h"

namespace zelto::test {
namespace {

// Thumbnailers, indexers and those who only want to know a file's type.
struct BackgroundReadersTest : ::testing::Test {
  TestSystem system;
  fs::path programs = system.data() / "programs";

  // A copy of a program under another name.
  fs::path copyOf(const fs::path& program, const std::string& name) {
    fs::create_directories(programs);
    fs::copy_file(program, programs / name);
    return programs / name;
  }
  // What a program with this name and this last argument writes; "failed" when it says so.
  std::string outputOf(std::vector<std::string> arguments) {
    const fs::path output = system.data() / "output";
    arguments.insert(arguments.begin(), {"/bin/sh", "-c", "\"$@\" > \"$0\"", output.string()});
    Process process(arguments, system.data() / "errors");
    int status = -1;
    EXPECT_TRUE(process.waitForEnd(std::chrono::seconds(20), &status));
    return status == 0 ? readFile(output) : "failed";
  }
};

TEST_F(BackgroundReadersTest, NothingIsFetchedForThemAndUsersAreServed) {
  writeFile(system.share() / "picture.jpg", "a picture");
  writeFile(system.share() / "text", "a text\n");
  writeFile(system.share() / "large.mov", std::string(5 << 20, 'x'));
  system.start();
  const std::string picture = system.mounted() / "picture.jpg", film = system.mounted() / "large.mov";
  const std::string text = system.mounted() / "text";
  const std::string thumbnailer = copyOf("/bin/cat", "gdk-pixbuf-thumbnailer");
  const std::string helper = copyOf("/bin/sh", "kioslave5");
  const std::string indexer = copyOf("/bin/sh", "tracker-extract-3");
  const fs::path script = system.data() / "script";
  writeFile(script, "exec < \"$2\"\n");
  names(system.mounted());
  const std::int64_t before = system.hostBytes();
  ASSERT_GE(before, 0);

  EXPECT_EQ(outputOf({thumbnailer, picture}), "failed");
  EXPECT_EQ(outputOf({thumbnailer, film}), "failed");
  EXPECT_EQ(outputOf({indexer, "-c", "exec < \"$0\"", picture}), "failed");
  EXPECT_EQ(outputOf({helper, script, "thumbnail", picture}), "failed");
  EXPECT_EQ(outputOf({"dd", "iflag=noatime", "status=none", "if=" + picture}), "failed");
  EXPECT_EQ(::open(picture.c_str(), O_RDONLY | O_NOATIME | O_CLOEXEC), -1);
  EXPECT_EQ(errno, EIO);
  const std::string browser = copyOf("/bin/sh", "dolphin");
  EXPECT_EQ(outputOf({browser, "-c", "exec < \"$0\"", picture}), "");
  EXPECT_EQ(system.hostBytes(), before);

  // The user's own programs are served, and then everybody is.
  EXPECT_EQ(outputOf({helper, script, "file", picture}), "");
  EXPECT_EQ(outputOf({"cat", picture}), "a picture");
  EXPECT_EQ(outputOf({browser, "-c", "read -r line < \"$0\"; echo $line", text}), "a text\n");
  EXPECT_EQ(outputOf({thumbnailer, picture}), "a picture");
  EXPECT_EQ(outputOf({"dd", "iflag=noatime", "status=none", "if=" + picture}), "a picture");
  EXPECT_EQ(outputOf({"/bin/sh", "-c", "head -c 5 \"$0\"", film}), "xxxxx");
  EXPECT_GT(system.hostBytes(), before);
}

// What makes pictures is given the host's, and nobody else ever sees bytes of it in the file.
TEST_F(BackgroundReadersTest, AThumbnailerIsGivenTheHostsPicture) {
  const std::string bytes = picture("jpeg", 640, 400);
  writeFile(system.share() / "picture.jpg", bytes);
  system.start();
  const std::string path = system.mounted() / "picture.jpg";
  const std::string thumbnailer = copyOf("/usr/bin/python3", "tumblerd");
  const std::string read = "import sys; sys.stdout.buffer.write(open(sys.argv[1], 'rb').read())";
  const std::string map =
      "import mmap, sys; f = open(sys.argv[1], 'rb');"
      "print(mmap.mmap(f.fileno(), 16, mmap.MAP_PRIVATE, mmap.PROT_READ)[:4])";
  names(system.mounted());
  const std::string given = outputOf({thumbnailer, "-c", read, path});
  EXPECT_TRUE(given.starts_with("\x89PNG")) << given.substr(0, 20);
  EXPECT_EQ(outputOf({thumbnailer, "-c", map, path}), "failed");
  EXPECT_EQ(system.hostCalls("thumbnail"), 1);
  EXPECT_EQ(system.hostCalls("downloadItem") + system.hostCalls("downloadItemRange"), 0);
  EXPECT_TRUE(readFile(path) == bytes);
  EXPECT_EQ(outputOf({thumbnailer, "-c", map, path}), "b'\\xff\\xd8\\xff\\xe0'\n");
}

TEST_F(BackgroundReadersTest, AThumbnailerDoesNotWaitWithoutAHost) {
  writeFile(system.share() / "picture.jpg", picture("jpeg", 640, 400));
  system.startExtension({"--request-limit", "300"});
  system.startHost();
  system.waitUntilConnected();
  names(system.mounted());
  system.host().kill(SIGKILL);
  ASSERT_TRUE(eventually([&] { return !*system.status().find("hostConnected")->asBoolean(); }));
  EXPECT_EQ(outputOf({copyOf("/bin/cat", "tumblerd"), system.mounted() / "picture.jpg"}), "failed");
  // After a wait it would be another error.
  EXPECT_TRUE(readFile(system.data() / "errors").contains("Input/output error"));
}

}  // namespace
}  // namespace zelto::test
