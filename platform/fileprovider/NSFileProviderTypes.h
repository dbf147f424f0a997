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
// The mask less the given bits.
template <FileProviderMask Mask>
constexpr Mask without(Mask mask, Mask bits) {
  return static_cast<Mask>(static_cast<std::uint64_t>(mask) & ~static_cast<std::uint64_t>(bits));
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

// Parts of an item that a request changes, or that are still to be changed after it.
enum class NSFileProviderItemFields : std::uint64_t {
  none = 0,
  contents = 0x1,
  filename = 0x2,
  parentItemIdentifier = 0x4,
  lastUsedDate = 0x8,
  tagData = 0x10,
  favoriteRank = 0x20,
  creationDate = 0x40,
  contentModificationDate = 0x80,
  fileSystemFlags = 0x100,
  extendedAttributes = 0x200,
  typeAndCreator = 0x400,
};
constexpr void isFileProviderMask(NSFileProviderItemFields) {}

enum class NSFileProviderCreateItemOptions : std::uint32_t {
  none = 0,
  mayAlreadyExist = 1,
  deletionConflicted = 2,
};
constexpr void isFileProviderMask(NSFileProviderCreateItemOptions) {}

enum class NSFileProviderModifyItemOptions : std::uint32_t { none = 0, mayAlreadyExist = 1 };
constexpr void isFileProviderMask(NSFileProviderModifyItemOptions) {}

enum class NSFileProviderDeleteItemOptions : std::uint32_t { none = 0, recursive = 1 };
constexpr void isFileProviderMask(NSFileProviderDeleteItemOptions) {}

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

// Four-character codes of old file systems; 0 where there is none.
struct NSFileProviderTypeAndCreator {
  std::uint32_t type = 0;
  std::uint32_t creator = 0;

  friend bool operator==(const NSFileProviderTypeAndCreator&, const NSFileProviderTypeAndCreator&) = default;
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
