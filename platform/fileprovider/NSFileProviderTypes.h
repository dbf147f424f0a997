#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/foundation/NSData.h"

namespace zelto {

inline constexpr std::string_view NSFileProviderErrorDomain = "NSFileProviderErrorDomain";
inline constexpr std::int64_t NSFileProviderErrorNoSuchItem = -1005;
inline constexpr std::int64_t NSFileProviderErrorServerUnreachable = -1004;

// Identifiers of the containers that every domain has.
inline const std::string NSFileProviderRootContainerItemIdentifier =
    "NSFileProviderRootContainerItemIdentifier";
inline const std::string NSFileProviderTrashContainerItemIdentifier =
    "NSFileProviderTrashContainerItemIdentifier";
inline const std::string NSFileProviderWorkingSetContainerItemIdentifier =
    "NSFileProviderWorkingSetContainerItemIdentifier";

template <typename Mask>
concept FileProviderMask = requires {
  typename Mask;
}
&&requires(Mask m) { isFileProviderMask(m); };

template <FileProviderMask Mask>
constexpr Mask operator|(Mask a, Mask b) {
  return static_cast<Mask>(static_cast<std::uint64_t>(a) | static_cast<std::uint64_t>(b));
}
template <FileProviderMask Mask>
constexpr Mask operator&(Mask a, Mask b) {
  return static_cast<Mask>(static_cast<std::uint64_t>(a) & static_cast<std::uint64_t>(b));
}
template <FileProviderMask Mask>
constexpr bool contains(Mask mask, Mask bits) {
  return (mask & bits) == bits;
}

enum class NSFileProviderItemCapabilities : std::uint32_t {
  none = 0,
  allowsReading = 1,
  allowsWriting = 2,  // for a folder: adding sub-items
  allowsReparenting = 4,
  allowsRenaming = 8,
  allowsTrashing = 16,
  allowsDeleting = 32,
  allowsEvicting = 64,
  allowsExcludingFromSync = 128,
};
constexpr void isFileProviderMask(NSFileProviderItemCapabilities) {}

enum class NSFileProviderFileSystemFlags : std::uint32_t {
  none = 0,
  userExecutable = 1,
  userReadable = 2,
  userWritable = 4,
  hidden = 8,
  pathExtensionHidden = 16,
};
constexpr void isFileProviderMask(NSFileProviderFileSystemFlags) {}

enum class NSFileProviderContentPolicy : std::int32_t {
  inherited = 0,
  downloadLazily = 1,
  downloadLazilyAndEvictOnRemoteUpdate = 2,
  downloadEagerlyAndKeepDownloaded = 3,
};

enum class NSFileProviderMaterializationFlags : std::uint32_t { none = 0, knownSparseRanges = 1 };
enum class NSFileProviderFetchContentsOptions : std::uint32_t { none = 0, strictVersioning = 1 };

// The versions of an item's content and metadata: opaque bytes of the extension's own making.
struct NSFileProviderItemVersion {
  NSData contentVersion;
  NSData metadataVersion;

  friend bool operator==(const NSFileProviderItemVersion&, const NSFileProviderItemVersion&) = default;
};

// A byte range: location and length in bytes.
struct NSRange {
  std::uint64_t location = 0;
  std::uint64_t length = 0;

  std::uint64_t end() const { return location + length; }
  friend bool operator==(const NSRange&, const NSRange&) = default;
};

// What the framework says about the origin of a request.
struct NSFileProviderRequest {
  std::uint32_t requestingProcess = 0;  // process id of the caller, 0 when the framework asks for itself
};

using NSFileProviderSyncAnchor = NSData;

}  // namespace zelto
