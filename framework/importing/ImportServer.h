#pragma once

#include <atomic>
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
// BLOCKS: all of them, until the answer, `patience` without progress, or the loss of the host, which leaves
// some requests without an answer. ERRORS: the extension's, ETIMEDOUT, and EHOSTDOWN without the host.
class ImportServer {
 public:
  using CreationAnswer =
      AwaitedAnswer<NSFileProviderItemPtr, NSFileProviderItemFields, bool, std::optional<NSError>>;

  // `hostPresent`: whether the host that was there at the beginning still is. THREAD: any.
  ImportServer(NSFileProviderPrincipal& extension, std::chrono::milliseconds patience,
               std::function<bool()> hostPresent)
      : extension_(extension), patience_(patience), hostPresent_(std::move(hostPresent)) {}

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
  // Whether a request has failed for want of the host.
  bool hostLost() const { return hostLost_; }
  // Entries that were asked for singly and have come to be.
  std::uint64_t created() const { return created_; }

 private:
  NSError noHost() const;
  std::optional<NSError> outcome(CreationAnswer& answer, const std::shared_ptr<NSProgress>& progress,
                                 const std::function<void(double)>& moved) const;

  NSFileProviderPrincipal& extension_;
  const std::chrono::milliseconds patience_;
  const std::function<bool()> hostPresent_;
  mutable std::atomic<bool> hostLost_ = false;
  mutable std::atomic<std::uint64_t> created_ = 0;
};

// Whether an item is a folder, as far as its type tells.
bool isFolderItem(const NSFileProviderItem& item);

}  // namespace zelto
