#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>

#include "platform/fileprovider/NSFileProviderTypes.h"
#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/UTType.h"

namespace zelto {

class FileProviderItem;

// Class operations that several subsystems share; each group is defined in the folder that it belongs to.
// THREAD: any.
class FileProviderUtils {
 public:
  // Recognising identifiers (model/). Exact comparison; nothing is normalised.
  static bool isRootIdentifier(const std::string& identifier);
  static bool isTrashIdentifier(const std::string& identifier);
  static bool isWorkingSetIdentifier(const std::string& identifier);
  static bool isMyFilesIdentifier(const std::string& identifier);
  static bool isOfflineFilesDirectoryIdentifier(const std::string& identifier);
  static bool isBookmarksDirectoryIdentifier(const std::string& identifier);
  // One level below the bookmarks container.
  static bool isBookmarkItemIdentifier(const std::string& identifier);

  // The folder type for a directory; else the type of the MIME type, an absent one being
  // "application/octet-stream". Nothing where the system does not know the MIME type (model/).
  static std::optional<UTType> contentTypeForMimeType(const std::optional<std::string>& mimeType, bool isDir);

  // Dates as opaque bytes, for sync anchors and item versions (enumeration/).
  static std::optional<NSData> dataForDate(NSDate date);
  // ERRORS: nothing, after an error in the log, for bytes that `dataForDate` did not make.
  static std::optional<NSDate> dateFromData(const NSData& data);
  // Both versions are the item's modification date; an item without one gets the current time.
  static std::shared_ptr<const NSFileProviderItemVersion> versionForItem(FileProviderItem& item);

  // Short texts of masks, for the log (enumeration/).
  static std::string stringForCapabilities(NSFileProviderItemCapabilities capabilities);
  static std::string stringForFileSystemFlags(NSFileProviderFileSystemFlags flags);

  // Writes the bytes into the file at an offset; the file is made when missing and never truncated, so
  // blocks may come in any order (transfer/). BLOCKS: on the disk. ERRORS: also in the log.
  static std::optional<NSError> writeData(const NSData& data, const std::string& path,
                                          std::int64_t fileOffset);

  // Hands a file over to the group directory, by hard link or by moving it away (transfer/).
  // OWNER: the caller owns the staged file. BLOCKS: on the disk. ERRORS: also in the log.
  static std::expected<NSURL, NSError> stagingUrlForUrl(const NSURL& url, bool linked);
  static std::expected<NSURL, NSError> stagingUrlLinkedFromUrl(const NSURL& url);
  static std::expected<NSURL, NSError> stagingUrlMovedFromUrl(const NSURL& url);

  // A name in the group directory that nobody has used yet; nothing is made on disk (transfer/).
  // Nothing when there is no group directory.
  static std::optional<NSURL> urlForTemporaryFileInGroupDirectory();
  // Asked of the system once per process.
  static const std::optional<NSURL>& urlForGroupDirectory();
};

}  // namespace zelto
