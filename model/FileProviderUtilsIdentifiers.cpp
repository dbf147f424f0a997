#include "model/FileProviderItem.h"
#include "model/FileProviderUtils.h"
#include "platform/foundation/Path.h"

namespace zelto {

bool FileProviderUtils::isRootIdentifier(const std::string& identifier) {
  return identifier == "/" || identifier == NSFileProviderRootContainerItemIdentifier;
}

bool FileProviderUtils::isTrashIdentifier(const std::string& identifier) {
  return identifier == NSFileProviderTrashContainerItemIdentifier;
}

bool FileProviderUtils::isWorkingSetIdentifier(const std::string& identifier) {
  return identifier == NSFileProviderWorkingSetContainerItemIdentifier;
}

bool FileProviderUtils::isMyFilesIdentifier(const std::string& identifier) {
  return identifier == FileProviderItem::providerItemForMyFiles()->itemIdentifier();
}

bool FileProviderUtils::isOfflineFilesDirectoryIdentifier(const std::string& identifier) {
  return identifier == FileProviderItem::providerItemForOfflineFiles()->itemIdentifier();
}

bool FileProviderUtils::isBookmarksDirectoryIdentifier(const std::string& identifier) {
  return identifier == FileProviderItem::providerItemForBookmarks()->itemIdentifier();
}

bool FileProviderUtils::isBookmarkItemIdentifier(const std::string& identifier) {
  return pathComponents(identifier).size() == 3 &&
         isBookmarksDirectoryIdentifier(stringByDeletingLastPathComponent(identifier));
}

}  // namespace zelto
