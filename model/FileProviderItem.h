#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderItem.h"
#include "platform/foundation/Completion.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSProgress.h"

namespace zelto {

// Also the codes under which the host sends an item's type.
enum FileProviderItemType : std::uint32_t {
  FileProviderItemTypeRoot = 0,
  FileProviderItemTypeMyFiles = 1,
  FileProviderItemTypeOfflineFiles = 2,
  FileProviderItemTypeBookmarks = 3,
  FileProviderItemTypeBookmark = 4,
  FileProviderItemTypeShare = 5,
  FileProviderItemTypeTrash = 6,
  FileProviderItemTypeWorkingSet = 7,
  FileProviderItemTypeFile = 8,
  FileProviderItemTypeDirectory = 9,
  FileProviderItemTypeSymbolicLink = 10,
  FileProviderItemTypeLinkService = 11,
};

// The yes-or-no fields of an item, one bit each: a hundred thousand items are held at a time.
struct FileProviderItemFlags {
  bool isDirectory : 1 = false;
  bool isShareWritable : 1 = false;
  bool isHidden : 1 = false;
  bool isOfflineFile : 1 = false;          // lies in the offline-files area
  bool isBackgroundUploading : 1 = false;  // the host is still uploading it
  bool canBookmark : 1 = false;
  bool isBookmarked : 1 = false;
  bool isOfflineBookmark : 1 = false;
  bool isOfflineShare : 1 = false;
  bool canOpenWithOfficeOnline : 1 = false;
  bool canOpenWithOffice365 : 1 = false;
  bool canShowCheckoutStatus : 1 = false;
  bool canCheckIn : 1 = false;
  bool canCheckOut : 1 = false;
  bool checkedOutByCurrentUser : 1 = false;
  bool checkedOutByOtherUser : 1 = false;
  bool checkOutManager : 1 = false;
};

class FileProviderItem;
using FileProviderItemPtr = std::shared_ptr<FileProviderItem>;
using FileProviderItemList = std::vector<FileProviderItemPtr>;

// The one record by which the extension describes an item to the framework.
// THREAD: fields are set before a record is shared; what is filled in on first reading (modification
// date, version) and the last used date may be read and updated from any thread.
class FileProviderItem final : public NSFileProviderItem {
 public:
  // The record of an item that the host describes, made by the factory of its type. Null, after a line
  // in the log, for a dictionary that describes none.
  static FileProviderItemPtr providerItemForDictionary(const NSDictionary& dictionary);
  static FileProviderItemPtr providerItemForFileDictionary(const NSDictionary& dictionary);
  // These never give null.
  static FileProviderItemPtr providerItemForShareDictionary(const NSDictionary& dictionary);
  static FileProviderItemPtr providerItemForBookmarkDictionary(const NSDictionary& dictionary);
  static FileProviderItemPtr providerItemForLinkServiceDictionary(const NSDictionary& dictionary);

  // The static containers: the same record at every call.
  static const FileProviderItemPtr& providerItemForRoot();
  static const FileProviderItemPtr& providerItemForTrash();
  static const FileProviderItemPtr& providerItemForWorkingSet();
  static const FileProviderItemPtr& providerItemForMyFiles();
  static const FileProviderItemPtr& providerItemForOfflineFiles();
  static const FileProviderItemPtr& providerItemForBookmarks();
  static const std::string& identifierForMyFiles();
  static const std::string& identifierForBookmarks();
  static const std::string& identifierForOfflineFiles();

  // The static container with this identifier, or null.
  static FileProviderItemPtr providerItemForStaticIdentifier(const std::string& identifier);
  // Looks an item up by listing its parent. Nothing ever advances the progress.
  // COMPLETES: on the find queue or on the reply's thread; never while no host is connected.
  static std::shared_ptr<NSProgress> findProviderItemForIdentifier(
      std::string identifier, Completion<FileProviderItemPtr, std::optional<NSError>> completionHandler);

  FileProviderItem();
  ~FileProviderItem() override;

  const std::optional<std::string>& itemIdentifier() const override { return itemIdentifier_; }
  const std::optional<std::string>& parentItemIdentifier() const override { return parentItemIdentifier_; }
  const std::optional<std::string>& filename() const override { return filename_; }
  const std::optional<UTType>& contentType() const override { return contentType_; }
  NSFileProviderItemCapabilities capabilities() const override;
  NSFileProviderFileSystemFlags fileSystemFlags() const override;
  std::optional<std::int64_t> documentSize() const override { return documentSize_; }
  std::optional<NSDate> creationDate() const override { return creationDate_; }
  std::optional<NSDate> contentModificationDate() override;
  std::optional<NSDate> lastUsedDate() const override;
  const NSDictionary* extendedAttributes() const override;
  const std::optional<std::string>& symlinkTargetPath() const override;
  std::optional<NSFileProviderContentPolicy> contentPolicy() const override { return contentPolicy_; }
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion() override;
  NSDictionary userInfo() const override;
  std::vector<std::string> decorations() const override;

  FileProviderItemType itemType() const { return itemType_; }
  const FileProviderItemFlags& flags() const { return flags_; }
  std::optional<std::uint32_t> childCount() const { return childCount_; }
  std::optional<std::uint32_t> childItemCount() const { return childItemCount_; }
  const std::optional<std::string>& checkoutLabel() const;
  std::string stringCapabilities() const;
  std::string description();

  void setItemIdentifier(std::optional<std::string> identifier) { itemIdentifier_ = std::move(identifier); }
  void setParentItemIdentifier(std::optional<std::string> parent) {
    parentItemIdentifier_ = std::move(parent);
  }
  void setFilename(std::optional<std::string> filename) { filename_ = std::move(filename); }
  void setItemType(FileProviderItemType type) { itemType_ = type; }
  void setContentPolicy(NSFileProviderContentPolicy policy) { contentPolicy_ = policy; }
  void setDocumentSize(std::optional<std::int64_t> size) { documentSize_ = size; }
  void setCreationDate(std::optional<NSDate> date) { creationDate_ = date; }
  void setContentModificationDate(std::optional<NSDate> date);
  // The creation, modification and last used dates at once.
  void setDates(std::optional<NSDate> date);
  void setExtendedAttributes(const PropertyListValue& attributes);
  void setSymlinkTargetPath(std::optional<std::string> path);
  void setChildItemCount(std::uint32_t count) { childItemCount_ = count; }
  void setCheckoutLabel(std::optional<std::string> label);
  void setItemVersion(std::shared_ptr<const NSFileProviderItemVersion> version);
  FileProviderItemFlags& flags() { return flags_; }

  // What follows a change that the framework reports, also in a record that is shared already. The type is
  // not guarded: where it is the same, as it nearly always is, nothing is written.
  void updateContentType(std::optional<UTType> type) {
    if (contentType_ != type) contentType_ = type;
  }
  // The modification date and the last used date.
  void updateModifiedDate(std::optional<NSDate> date);
  void updateLastUsedDate(std::optional<NSDate> date);

 private:
  struct Rare;
  Rare& rare();

  std::optional<std::string> itemIdentifier_;
  std::optional<std::string> parentItemIdentifier_;
  std::optional<std::string> filename_;
  std::optional<UTType> contentType_;
  std::optional<std::int64_t> documentSize_;
  std::optional<NSDate> creationDate_;
  std::optional<NSDate> contentModificationDate_;
  std::optional<NSDate> lastUsedDate_;
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion_;
  // What few items have.
  std::unique_ptr<Rare> rare_;
  std::optional<NSFileProviderContentPolicy> contentPolicy_;
  std::optional<std::uint32_t> childCount_;
  std::optional<std::uint32_t> childItemCount_;
  FileProviderItemType itemType_ = FileProviderItemTypeRoot;
  FileProviderItemFlags flags_;
};

}  // namespace zelto
