#include "hostapp/BackendErrors.h"

#include <cerrno>
#include <cstring>
#include <optional>

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

// What a failed change means, and what can be done about it.
struct WriteFailure {
  int code;
  std::int64_t cocoa;
  std::string_view text;
};
constexpr WriteFailure kNoPermission{
    EACCES, kWriteNoPermissionError,
    "the server does not allow this change; ask for the right to write there, or work on a copy"};
constexpr WriteFailure kNoSpace{ENOSPC, kWriteOutOfSpaceError,
                                "there is no space left on the server; remove something there and try again"};
constexpr WriteFailure kExists{
    EEXIST, kWriteFileExistsError,
    "there is an item of this name on the server already; rename or remove one of the two"};
constexpr WriteFailure kReadOnly{EROFS, kWriteVolumeReadOnlyError,
                                 "this part of the server can only be read; save it somewhere else"};
constexpr WriteFailure kTooLong{ENAMETOOLONG, kWriteInvalidFileNameError,
                                "the name is too long for the server; choose a shorter one"};

std::optional<WriteFailure> knownFailure(int code) {
  switch (code) {
    case EACCES:
    case EPERM:
      return kNoPermission;
    case ENOSPC:
    case EDQUOT:
      return kNoSpace;
    case EEXIST:
    case EISDIR:
      return kExists;
    case EROFS:
      return kReadOnly;
    case ENAMETOOLONG:
      return kTooLong;
    default:
      return std::nullopt;
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

NSError writeError(int code, std::string_view path) {
  if (code == ENOENT || code == ENOTDIR || code == ELOOP || code == ESTALE) return noSuchItemError(path);
  if (const auto known = knownFailure(code)) return cocoaError(known->cocoa, quoted(path, known->text));
  if (code == EINVAL) {
    return errorWithPOSIXCode(
        code,
        quoted(path, "the server cannot keep an item under this name or in this place; choose another"));
  }
  if (code == EBUSY) {
    return errorWithPOSIXCode(code, quoted(path, "it is in use, or somebody has just changed it; try again"));
  }
  if (code == EXDEV || code == EFBIG) {
    return errorWithPOSIXCode(code, quoted(path, std::strerror(code)));
  }
  return cocoaError(kWriteUnknownError, quoted(path, std::strerror(code)));
}

NSError refusedError(std::string_view path, std::string_view reason) {
  return cocoaError(kWriteNoPermissionError, quoted(path, reason));
}

NSError cancelledError(std::string_view path) {
  return cocoaError(kUserCancelledError, quoted(path, "cancelled"));
}

bool isExisting(const NSError& error) {
  return error.domain() == NSCocoaErrorDomain && error.code() == kWriteFileExistsError;
}

bool isOtherVolume(const NSError& error) {
  return error.domain() == NSPOSIXErrorDomain && error.code() == EXDEV;
}

bool isNoSuchItem(const NSError& error) {
  return error.domain() == NSFileProviderErrorDomain && error.code() == NSFileProviderErrorNoSuchItem;
}

}  // namespace zelto
