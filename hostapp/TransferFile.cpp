#include "hostapp/TransferFile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"
#include "platform/foundation/UuidName.h"

namespace zelto {

std::expected<TransferFile, NSError> TransferFile::make(const std::string& directory) {
  TransferFile file(directory, newUuidName());
  const auto path = file.url().path();
  file.descriptor_.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.descriptor_) return std::unexpected(backendError(errno, path));
  return file;
}

std::expected<TransferFile, NSError> TransferFile::take(const std::string& directory, const NSURL& url) {
  TransferFile file(directory, newUuidName());
  const auto from = url.path();
  // Only a file of the group directory itself is the sender's to give.
  const auto split = splitPath(from);
  int code = split.folder == splitPath(directory).folder && isRelativePath(split.name) ? 0 : EPERM;
  if (code == 0 && ::rename(from.c_str(), file.url().path().c_str()) != 0) code = errno;
  if (code == 0) return file;
  file.handedOver();
  return std::unexpected(cocoaError(kReadUnknownError, "The content to upload cannot be taken over from \"" +
                                                           from + "\": " + std::strerror(code)));
}

TransferFile::~TransferFile() {
  if (!name_.empty()) ::unlink(url().path().c_str());
}

void prepareTransferFolder(const std::string& directory) {
  std::error_code error;
  std::filesystem::create_directory(directory, error);
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const auto path = entry.path();
    if (isUuidName(path.filename().string())) ::unlink(path.c_str());
  }
}

}  // namespace zelto
