#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace zelto {

class FileProviderEnumerator;

// The live directory enumerators by identifier. The extension never removes one by itself.
// THREAD: any.
class FileProviderEnumeratorCache {
 public:
  static FileProviderEnumeratorCache& manager();

  // Replaces an earlier one with the same identifier; ignores one without identifier.
  void add(std::shared_ptr<FileProviderEnumerator> enumerator);
  // Removes whatever enumerator stands under this one's identifier.
  void removeDirectory(const std::shared_ptr<FileProviderEnumerator>& enumerator);
  // Null when there is none.
  std::shared_ptr<FileProviderEnumerator> enumeratorForIdentifier(const std::string& identifier) const;
  bool containsIdentifier(const std::string& identifier) const;
  // Writes the identifiers to the log.
  void dump() const;

 private:
  FileProviderEnumeratorCache() = default;

  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<FileProviderEnumerator>> directories_;
};

}  // namespace zelto
