#include "tests/extension/Fixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/foundation/Path.h"

namespace zelto::test {

namespace {

// Stands before main, so that no singleton has read the environment yet.
class Environment {
 public:
  Environment() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelto-extension-XXXXXX").string();
    folder_ = ::mkdtemp(pattern.data());
    ::setenv("ZELTO_RESOURCES", ZELTO_TEST_RESOURCES, 1);
    ::setenv("ZELTO_DATA_HOME", folder_.c_str(), 1);
    ::setenv("LANGUAGE", "en", 1);
    ::setenv("LC_ALL", "C.UTF-8", 1);
    // Broadcasts of a test reach nobody.
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
  }
  ~Environment() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  const std::string& folder() const { return folder_; }

 private:
  std::string folder_;
};

const Environment kEnvironment;

NSDictionary dictionary(const std::string& path, bool isDir, const NSDictionary& extra) {
  NSDictionary result{{"itemType", isDir ? 9 : 8},
                      {"itemIdentifier", path},
                      {"parentItemIdentifier", stringByDeletingLastPathComponent(path)},
                      {"name", lastPathComponent(path)},
                      {"isDir", isDir}};
  for (const auto& [key, value] : extra) result.set(key.name(), value);
  return result;
}

}  // namespace

NSDictionary fileDictionary(const std::string& path, const NSDictionary& extra) {
  return dictionary(path, false, extra);
}

NSDictionary folderDictionary(const std::string& path, const NSDictionary& extra) {
  return dictionary(path, true, extra);
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

const std::string& ExtensionFixture::dataFolder() { return kEnvironment.folder(); }

}  // namespace zelto::test
