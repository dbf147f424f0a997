#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"

namespace zelto {

inline constexpr std::int64_t kReadUnknownError = 256;
inline constexpr std::int64_t kReadNoPermissionError = 257;
inline constexpr std::int64_t kWriteUnknownError = 512;
inline constexpr std::int64_t kWriteNoPermissionError = 513;
inline constexpr std::int64_t kWriteInvalidFileNameError = 514;
inline constexpr std::int64_t kWriteFileExistsError = 516;
inline constexpr std::int64_t kWriteOutOfSpaceError = 640;
inline constexpr std::int64_t kWriteVolumeReadOnlyError = 642;
inline constexpr std::int64_t kUserCancelledError = 3072;
inline constexpr std::int64_t kFeatureUnsupportedError = 3328;

// A failed operation on a server path: no such item (file-provider domain, -1005) for a path that leads
// nowhere, else the Cocoa domain with the platform's code. The description names the path and the reason.
NSError backendError(int code, std::string_view path);
// The same for an operation that changes something. Where the platform has no code of its own for a reason
// (an impossible name, a folder moved into itself, another volume), the POSIX domain with the errno value.
NSError writeError(int code, std::string_view path);
// A change that this server never allows there, whoever asks.
NSError refusedError(std::string_view path, std::string_view reason);
NSError cancelledError(std::string_view path);
NSError noSuchItemError(std::string_view path);
NSError cocoaError(std::int64_t code, std::string description);
bool isNoSuchItem(const NSError& error);
bool isExisting(const NSError& error);
// The item has to be copied to get there.
bool isOtherVolume(const NSError& error);

}  // namespace zelto
