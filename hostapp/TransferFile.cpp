#include "hostapp/TransferFile.h"

#include <array>
#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"

namespace zelto {

namespace {

std::string newName() {
  uuid_t uuid;
  std::array<char, UUID_STR_LEN> text{};
  ::uuid_generate_random(uuid);
  ::uuid_unparse_upper(uuid, text.data());
  return text.data();
}

bool isTransferName(const std::string& name) {
  uuid_t uuid;
  return ::uuid_parse(name.c_str(), uuid) == 0;
}

}  // namespace

std::expected<TransferFile, NSError> TransferFile::make(const std::string& directory) {
  TransferFile file(directory, newName());
  const auto path = file.url().path();
  file.descriptor_.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.descriptor_) return std::unexpected(backendError(errno, path));
  return file;
}

TransferFile::~TransferFile() {
  if (!name_.empty()) ::unlink(url().path().c_str());
}

void prepareTransferFolder(const std::string& directory) {
  std::error_code error;
  std::filesystem::create_directory(directory, error);
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const auto path = entry.path();
    if (isTransferName(path.filename())) ::unlink(path.c_str());
  }
}

}  // namespace zelto
