#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/FileProviderItem.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/NSDirectoryEnumerator.h"
#include "platform/foundation/NSProgress.h"
#include "platform/foundation/NSURL.h"

namespace zelto {

// The fields that a creation settles.
inline constexpr NSFileProviderItemFields kCreationFields =
    NSFileProviderItemFields::contents | NSFileProviderItemFields::filename |
    NSFileProviderItemFields::parentItemIdentifier | NSFileProviderItemFields::creationDate |
    NSFileProviderItemFields::contentModificationDate | NSFileProviderItemFields::fileSystemFlags |
    NSFileProviderItemFields::typeAndCreator;

// Turns new content, new folders and moves into operations of the host, and their outcomes into the
// framework's item completions. Where the outcome is a success the fields still pending are `fields` without
// `field`, where it is a failure they are all of `fields`; content is never asked for.
//
// With no host connected, and when the connection ends before the reply, no completion is called.
// THREAD: any. COMPLETES: on the connection's thread unless said otherwise.
class FileProviderHelper final {
 public:
  using ItemCompletion =
      Completion<FileProviderItemPtr, NSFileProviderItemFields, bool, std::optional<NSError>>;
  using EntryCompletion = Completion<FileProviderItemPtr, std::optional<NSError>>;

  static FileProviderHelper& instance();

  // Where folders are imported, one after the other.
  DispatchQueue& importQueue() { return importQueue_; }
  // How often an import has begun to wait for an entry, in the life of the process. It stands still while an
  // import waits, perhaps for ever.
  const std::atomic<std::uint64_t>& importWaits() const { return importWaits_; }

  // Uploads a file; without contents, an empty one. A folder is not uploaded but looked up.
  // OWNER: takes the contents over. COMPLETES: once, when the host has the file or has failed; at once where
  // there is nothing to upload; with no field pending and a cancellation error when the progress is cancelled
  // or the host reports a cancellation (which is missed where the report comes before this call returns).
  std::shared_ptr<NSProgress> queueUploadForFileAtPath(const std::string& path,
                                                       const std::optional<NSURL>& contents, bool creating,
                                                       const std::optional<NSDate>& modifiedDate,
                                                       NSFileProviderItemFields fields,
                                                       NSFileProviderItemFields field,
                                                       ItemCompletion completion);

  // Creates a folder, then brings over what lies beneath the local one, if any. The fields settled are
  // kCreationFields, whatever `field` says; `creating` does not matter either.
  // OWNER: takes the files beneath `contents` over; its folders stay. COMPLETES: on the import queue; never
  // where the walk misses a reply, and then no later import does either.
  std::shared_ptr<NSProgress> processContainerAtPath(const std::string& path, bool mayExist,
                                                     const std::optional<NSURL>& contents, bool creating,
                                                     NSFileProviderItemFields fields,
                                                     NSFileProviderItemFields field,
                                                     ItemCompletion completion);

  // A new progress for the import of a folder. Its total is the size of the last regular file beneath it.
  std::shared_ptr<NSProgress> countContainerSubItemsAtUrl(const std::optional<NSURL>& url);

  // Brings over what lies beneath a local folder, one entry at a time, folders before their entries, and adds
  // up in the progress what the host says about sizes. ERRORS: the first entry's that fails; the walk ends
  // there. THREAD: the import queue's. BLOCKS: for each entry until its reply; for ever when that comes
  // before the wait for it has begun, or not at all.
  std::optional<NSError> importContainerSubItemsToPath(const std::string& path, const NSURL& url,
                                                       NSProgress& progress);

  // Creates a folder, uploads a regular file, or uploads an empty file in the place of anything else.
  void importContainerSubItemToPath(const std::string& path, const NSURL& url,
                                    const NSFileAttributes& attributes, EntryCompletion completion);

  // Moves or renames on the server; a destination that begins with the trash's identifier deletes instead and
  // gives no item. Where the host gives no item for a move, the one passed in is reported.
  std::shared_ptr<NSProgress> moveProviderItem(const NSFileProviderItemPtr& item,
                                               const std::string& destination,
                                               NSFileProviderItemFields changedFields,
                                               NSFileProviderItemFields field,
                                               NSFileProviderItemCompletion completionHandler);

 private:
  FileProviderHelper() = default;

  DispatchQueue importQueue_{"it.pellam.Zelto.FP.importQueue"};
  std::atomic<std::uint64_t> importWaits_ = 0;
};

}  // namespace zelto
