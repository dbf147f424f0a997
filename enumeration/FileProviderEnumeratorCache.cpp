#include "enumeration/FileProviderEnumeratorCache.h"

#include <vector>

#include "enumeration/FileProviderEnumerator.h"
#include "support/FileProviderLogger.h"

namespace zelto {

FileProviderEnumeratorCache& FileProviderEnumeratorCache::manager() {
  static auto* const shared = new FileProviderEnumeratorCache();
  return *shared;
}

void FileProviderEnumeratorCache::add(std::shared_ptr<FileProviderEnumerator> enumerator) {
  if (!enumerator || !enumerator->identifier()) return;
  FileProviderLogger::instance().logDebug("FP[dirs] Added " + *enumerator->identifier());
  const std::lock_guard lock(mutex_);
  directories_[*enumerator->identifier()].swap(enumerator);
}

void FileProviderEnumeratorCache::removeDirectory(const std::shared_ptr<FileProviderEnumerator>& enumerator) {
  if (!enumerator || !enumerator->identifier()) return;
  FileProviderLogger::instance().logDebug("FP[dirs] Removing " + *enumerator->identifier());
  const std::lock_guard lock(mutex_);
  directories_.erase(*enumerator->identifier());
}

std::shared_ptr<FileProviderEnumerator> FileProviderEnumeratorCache::enumeratorForIdentifier(
    const std::string& identifier) const {
  const std::lock_guard lock(mutex_);
  const auto found = directories_.find(identifier);
  return found != directories_.end() ? found->second : nullptr;
}

bool FileProviderEnumeratorCache::containsIdentifier(const std::string& identifier) const {
  return enumeratorForIdentifier(identifier) != nullptr;
}

void FileProviderEnumeratorCache::dump() const {
  std::vector<std::string> identifiers;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& entry : directories_) identifiers.push_back(entry.first);
  }
  for (const auto& identifier : identifiers) FileProviderLogger::instance().logDebug("    • " + identifier);
}

}  // namespace zelto
