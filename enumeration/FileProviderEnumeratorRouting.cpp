// Which enumerator answers for an identifier.
#include "enumeration/FileProviderEnumerator.h"
#include "enumeration/FileProviderEnumeratorCache.h"
#include "model/FileProviderUtils.h"

namespace zelto {

namespace {

using EnumeratorPtr = std::shared_ptr<FileProviderEnumerator>;
using Type = FileProviderEnumerator::Type;

EnumeratorPtr* newEnumerator(const std::string& identifier, Type type) {
  return new EnumeratorPtr(std::make_shared<FileProviderEnumerator>(identifier, type));
}

// The containers with an enumerator of their own; null for any other identifier.
EnumeratorPtr sharedEnumerator(const std::string& identifier) {
  if (FileProviderUtils::isWorkingSetIdentifier(identifier))
    return FileProviderEnumerator::enumeratorForWorkingSet();
  if (FileProviderUtils::isTrashIdentifier(identifier)) return FileProviderEnumerator::enumeratorForTrash();
  if (FileProviderUtils::isRootIdentifier(identifier)) return FileProviderEnumerator::enumeratorForRoot();
  if (FileProviderUtils::isMyFilesIdentifier(identifier))
    return FileProviderEnumerator::enumeratorForMyFiles();
  if (FileProviderUtils::isOfflineFilesDirectoryIdentifier(identifier)) {
    return FileProviderEnumerator::enumeratorForOfflineFiles();
  }
  if (FileProviderUtils::isBookmarksDirectoryIdentifier(identifier)) {
    return FileProviderEnumerator::enumeratorForBookmarks();
  }
  return nullptr;
}

}  // namespace

EnumeratorPtr FileProviderEnumerator::enumeratorForIdentifier(const std::string& identifier) {
  auto& cache = FileProviderEnumeratorCache::manager();
  if (auto cached = cache.enumeratorForIdentifier(identifier)) return cached;
  if (auto shared = sharedEnumerator(identifier)) return shared;
  if (FileProviderUtils::isBookmarkItemIdentifier(identifier))
    return enumeratorForBookmarkIdentifier(identifier);
  auto directory = std::make_shared<FileProviderEnumerator>(identifier, Type::directory);
  cache.add(directory);
  return directory;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForRoot() {
  static const auto* const shared = newEnumerator(NSFileProviderRootContainerItemIdentifier, Type::root);
  return *shared;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForTrash() {
  static const auto* const shared = newEnumerator(NSFileProviderTrashContainerItemIdentifier, Type::trash);
  return *shared;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForWorkingSet() {
  static const auto* const shared =
      newEnumerator(NSFileProviderWorkingSetContainerItemIdentifier, Type::workingSet);
  return *shared;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForMyFiles() {
  static const auto* const shared = newEnumerator(FileProviderItem::identifierForMyFiles(), Type::myFiles);
  return *shared;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForOfflineFiles() {
  static const auto* const shared =
      newEnumerator(FileProviderItem::identifierForOfflineFiles(), Type::offlineFiles);
  return *shared;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForBookmarks() {
  static const auto* const shared =
      newEnumerator(FileProviderItem::identifierForBookmarks(), Type::bookmarks);
  return *shared;
}

EnumeratorPtr FileProviderEnumerator::enumeratorForBookmarkIdentifier(const std::string& identifier) {
  return std::make_shared<FileProviderEnumerator>(identifier, Type::bookmark);
}

}  // namespace zelto
