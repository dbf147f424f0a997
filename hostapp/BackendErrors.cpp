#include "hostapp/BackendErrors.h"

#include <cerrno>
#include <cstring>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

namespace {

std::string quoted(std::string_view path, std::string_view reason) {
  return "\"" + std::string(path) + "\": " + std::string(reason);
}

std::int64_t cocoaCode(int code) {
  switch (code) {
    case EACCES:
    case EPERM:
      return kReadNoPermissionError;
    case ENOSPC:
    case EDQUOT:
      return kWriteOutOfSpaceError;
    default:
      return kReadUnknownError;
  }
}

}  // namespace

NSError cocoaError(std::int64_t code, std::string description) {
  return {NSCocoaErrorDomain, code, {{NSLocalizedDescriptionKey, std::move(description)}}};
}

NSError noSuchItemError(std::string_view path) {
  return {NSFileProviderErrorDomain,
          NSFileProviderErrorNoSuchItem,
          {{NSLocalizedDescriptionKey, quoted(path, "there is no such item on the server")}}};
}

NSError backendError(int code, std::string_view path) {
  // A symbolic link in the middle of a path is not followed, so the path leads nowhere.
  if (code == ENOENT || code == ENOTDIR || code == ELOOP || code == EXDEV || code == ESTALE) {
    return noSuchItemError(path);
  }
  return cocoaError(cocoaCode(code), quoted(path, std::strerror(code)));
}

bool isNoSuchItem(const NSError& error) {
  return error.domain() == NSFileProviderErrorDomain && error.code() == NSFileProviderErrorNoSuchItem;
}

}  // namespace zelto
