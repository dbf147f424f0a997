#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/importing/AwaitedAnswer.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// The requests of an import to the extension, each waited for. THREAD: any; several at a time.
// BLOCKS: all of them, until the answer or `patience` without progress. ERRORS: the extension's, ETIMEDOUT,
// and EHOSTDOWN where the extension drops a request because it has no host.
class ImportServer {
 public:
  using CreationAnswer =
      AwaitedAnswer<NSFileProviderItemPtr, NSFileProviderItemFields, bool, std::optional<NSError>>;

  ImportServer(NSFileProviderPrincipal& extension, std::chrono::milliseconds patience)
      : extension_(extension), patience_(patience) {}

  std::expected<std::vector<NSFileProviderItemPtr>, NSError> list(const std::string& identifier) const;
  std::optional<NSError> createFolder(const std::string& parent, const std::string& name) const;
  // OWNER: the extension takes the file at `content` over. `moved` hears how much of it is there, from 0
  // to 1.
  std::optional<NSError> createFile(const std::string& parent, const std::string& name,
                                    const std::string& content, std::uint64_t size,
                                    const std::function<void(double)>& moved) const;
  // Has the extension import a folder by itself, which it may never finish. Not waited for.
  // OWNER: the extension takes the files below `contents` over.
  std::shared_ptr<NSProgress> createTree(const std::string& parent, const std::string& name,
                                         const std::string& contents, CreationAnswer& answer) const;

 private:
  std::optional<NSError> outcome(CreationAnswer& answer, const std::shared_ptr<NSProgress>& progress,
                                 const std::function<void(double)>& moved) const;

  NSFileProviderPrincipal& extension_;
  const std::chrono::milliseconds patience_;
};

// Whether an item is a folder, as far as its type tells.
bool isFolderItem(const NSFileProviderItem& item);

}  // namespace zelto
