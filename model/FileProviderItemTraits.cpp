// What the framework derives from an item's fields: capabilities, flags, user info and badges.
#include <array>

#include "model/FileProviderDecorations.h"
#include "model/FileProviderItem.h"
#include "model/FileProviderUtils.h"

namespace zelto {

namespace {

using enum NSFileProviderItemCapabilities;

constexpr auto kReadOnly = allowsReading | allowsEvicting;
constexpr auto kShare = kReadOnly | allowsWriting;
constexpr auto kUploading = kShare | allowsDeleting | allowsExcludingFromSync;
constexpr auto kFull = kUploading | allowsReparenting | allowsRenaming;

struct OfferedActions {
  bool canAddOffline;
  bool canRemoveOffline;
  bool refreshMyFiles;
  bool refreshDirectory;
  bool showCustomFields;
};

OfferedActions actionsInOfflineArea(const FileProviderItem& item) {
  const auto& parent = item.parentItemIdentifier();
  return {.canAddOffline = false,
          .canRemoveOffline = parent && FileProviderUtils::isOfflineFilesDirectoryIdentifier(*parent),
          .refreshMyFiles = false,
          .refreshDirectory = item.itemType() == FileProviderItemTypeDirectory,
          .showCustomFields = false};
}

OfferedActions actionsOnline(const FileProviderItem& item) {
  const auto type = item.itemType();
  const auto& flags = item.flags();
  const bool onServer = type == FileProviderItemTypeFile || type == FileProviderItemTypeDirectory;
  return {.canAddOffline = !flags.isOfflineBookmark && (onServer || flags.isBookmarked),
          .canRemoveOffline = flags.isOfflineBookmark,
          .refreshMyFiles = type == FileProviderItemTypeMyFiles,
          .refreshDirectory = type == FileProviderItemTypeOfflineFiles ||
                              type == FileProviderItemTypeDirectory || type == FileProviderItemTypeShare,
          .showCustomFields = type == FileProviderItemTypeFile};
}

}  // namespace

NSFileProviderItemCapabilities FileProviderItem::capabilities() const {
  if (flags_.isOfflineFile || !flags_.isShareWritable) return kReadOnly;
  switch (itemType_) {
    case FileProviderItemTypeShare:
      return kShare;
    case FileProviderItemTypeDirectory:
      return kFull;
    case FileProviderItemTypeFile:
      // Neither renamed nor moved while the host still uploads it.
      return flags_.isBackgroundUploading ? kUploading : kFull;
    default:
      return kReadOnly;
  }
}

NSFileProviderFileSystemFlags FileProviderItem::fileSystemFlags() const {
  using enum NSFileProviderFileSystemFlags;
  auto result = userReadable;
  if (flags_.isShareWritable) result = result | userWritable;
  if (flags_.isHidden) result = result | hidden;
  if (flags_.isDirectory) result = result | userExecutable;
  return result;
}

std::string FileProviderItem::stringCapabilities() const {
  return FileProviderUtils::stringForCapabilities(capabilities());
}

NSDictionary FileProviderItem::userInfo() const {
  // Interned once: every item of a listing is asked for its user info.
  static const auto* const keys =
      new std::array{DictionaryKey("canAddOffline"),        DictionaryKey("canRemoveOffline"),
                     DictionaryKey("canAddBookmark"),       DictionaryKey("canRemoveBookmark"),
                     DictionaryKey("isBookmark"),           DictionaryKey("refreshMyFiles"),
                     DictionaryKey("refreshDirectory"),     DictionaryKey("canShowCheckoutStatus"),
                     DictionaryKey("canCheckIn"),           DictionaryKey("canCheckOut"),
                     DictionaryKey("checkoutLabel"),        DictionaryKey("showCustomFields"),
                     DictionaryKey("openWithOfficeOnline"), DictionaryKey("openWithOffice365")};
  const auto actions = flags_.isOfflineFile ? actionsInOfflineArea(*this) : actionsOnline(*this);
  // The activation rules compare this one with a number.
  const int canRemoveBookmark = flags_.isBookmarked && !flags_.isOfflineBookmark ? 1 : 0;

  NSDictionary result;
  result.reserve(keys->size());
  auto key = keys->begin();
  const auto add = [&](PropertyListValue value) { result.append(*key++, std::move(value)); };
  add(actions.canAddOffline);
  add(actions.canRemoveOffline);
  add(bool{flags_.canBookmark});
  add(canRemoveBookmark);
  add(bool{flags_.isBookmarked});
  add(actions.refreshMyFiles);
  add(actions.refreshDirectory);
  add(bool{flags_.canShowCheckoutStatus});
  add(bool{flags_.canCheckIn});
  add(bool{flags_.canCheckOut});
  add(checkoutLabel().value_or(""));
  add(actions.showCustomFields);
  add(bool{flags_.canOpenWithOfficeOnline});
  add(bool{flags_.canOpenWithOffice365});
  return result;
}

std::vector<std::string> FileProviderItem::decorations() const {
  return FileProviderDecorations::manager().decorationsForFileProviderItem(*this);
}

}  // namespace zelto
