#include "framework/requests/Errno.h"

#include <cerrno>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {
namespace {

int errnoForCocoaCode(std::int64_t code) {
  switch (code) {
    case 4:    // no such file
    case 260:  // no such file to read
      return ENOENT;
    case 257:  // no permission to read
    case 513:  // no permission to write
      return EACCES;
    case 514:  // a name that is too long
      return ENAMETOOLONG;
    case 516:
      return EEXIST;
    case 640:
      return ENOSPC;
    case 642:
      return EROFS;
    case 3072:
      return ECANCELED;
    case 3328:
      return EOPNOTSUPP;
    default:
      return EIO;
  }
}

int errnoForProviderCode(std::int64_t code) {
  switch (code) {
    case NSFileProviderErrorNoSuchItem:
      return ENOENT;
    case NSFileProviderErrorServerUnreachable:
      return EHOSTUNREACH;
    default:
      return EIO;
  }
}

}  // namespace

int errnoForError(const NSError& error) {
  if (error.domain() == NSPOSIXErrorDomain && error.code() > 0 && error.code() < 4096) {
    return static_cast<int>(error.code());
  }
  if (error.domain() == NSFileProviderErrorDomain) return errnoForProviderCode(error.code());
  if (error.domain() == NSCocoaErrorDomain) return errnoForCocoaCode(error.code());
  return EIO;
}

}  // namespace zelto
