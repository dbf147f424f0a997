#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zelto::test {

// A folder of the test's own that is the user's home, data home and runtime directory, without any bus.
class TemporaryHome {
 public:
  TemporaryHome() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelto-cli-XXXXXX").string();
    path_ = std::filesystem::canonical(::mkdtemp(pattern.data()));
    ::setenv("HOME", path_.c_str(), 1);
    ::setenv("ZELTO_DATA_HOME", (path_ / "data").c_str(), 1);
    ::setenv("ZELTO_RUNTIME_DIR", (path_ / "run").c_str(), 1);
    for (const char* name :
         {"XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS", "ZELTO_COMMAND"})
      ::unsetenv(name);
  }
  ~TemporaryHome() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryHome(const TemporaryHome&) = delete;
  TemporaryHome& operator=(const TemporaryHome&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeText(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace zelto::test
