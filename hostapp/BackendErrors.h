#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"

namespace zelto {

inline constexpr std::int64_t kReadUnknownError = 256;
inline constexpr std::int64_t kReadNoPermissionError = 257;
inline constexpr std::int64_t kWriteOutOfSpaceError = 640;
inline constexpr std::int64_t kUserCancelledError = 3072;
inline constexpr std::int64_t kFeatureUnsupportedError = 3328;

// A failed operation on a server path: no such item (file-provider domain, -1005) for a path that leads
// nowhere, else the Cocoa domain with the platform's code. The description names the path and the reason.
NSError backendError(int code, std::string_view path);
NSError noSuchItemError(std::string_view path);
NSError cocoaError(std::int64_t code, std::string description);
bool isNoSuchItem(const NSError& error);

}  // namespace zelto
