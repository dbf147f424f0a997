#include "framework/domain/GroupDirectory.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>

namespace zelto {
namespace {

namespace fs = std::filesystem;

// As the extension writes it: five groups of hexadecimal digits.
bool isUuid(const std::string& name) {
  constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::ranges::equal(name, kForm, [](char c, char form) {
    return form == 'x' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c == form;
  });
}

void removeTransfers(const std::string& path) {
  std::error_code error;
  std::error_code ignored;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
    const bool isFile = entry->symlink_status(ignored).type() == fs::file_type::regular;
    if (isFile && isUuid(entry->path().filename())) fs::remove(entry->path(), ignored);
  }
}

}  // namespace

GroupDirectory::GroupDirectory(const std::string& path)
    : lock_(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!lock_) return;
  if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) removeTransfers(path);
  // Between the two locks another one may come and remove files: there is none of ours yet.
  while (::flock(lock_.get(), LOCK_SH) != 0 && errno == EINTR) {
  }
}

}  // namespace zelto
