#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace zelto::test {

// A folder of shares, and beside it room for the host's own files. Removed with the test.
class ServerFolder {
 public:
  ServerFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelto-host-XXXXXX").native();
    base_ = ::mkdtemp(pattern.data());
    std::filesystem::create_directories(base_ + "/server");
    std::filesystem::create_directories(base_ + "/group");
  }
  ~ServerFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(base_, ignored);
  }
  ServerFolder(const ServerFolder&) = delete;
  ServerFolder& operator=(const ServerFolder&) = delete;

  std::string root() const { return base_ + "/server"; }
  std::string group() const { return base_ + "/group"; }
  std::string own(std::string_view name) const { return base_ + "/" + std::string(name); }
  std::string path(std::string_view name) const { return root() + "/" + std::string(name); }

  void folder(std::string_view name) const { std::filesystem::create_directories(path(name)); }
  void write(std::string_view name, std::string_view content) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    std::ofstream file(path(name), std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
  }
  void rename(std::string_view from, std::string_view to) const {
    std::filesystem::rename(path(from), path(to));
  }
  void remove(std::string_view name) const { std::filesystem::remove_all(path(name)); }
  struct stat status(std::string_view name) const {
    struct stat found {};
    ::lstat(path(name).c_str(), &found);
    return found;
  }

 private:
  std::string base_;
};

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace zelto::test
