#include <fmt/format.h>

#include "host/ZeltoFileProviderClient.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/Path.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderLogger.h"
#include "transfer/FileProviderHelper.h"
#include "transfer/ImportCondition.h"

namespace zelto {

namespace {

// One folder on its way to the server.
struct ContainerImport {
  std::string path;
  std::optional<NSURL> contents;
  NSFileProviderItemFields fields;
  std::shared_ptr<NSProgress> progress;
  FileProviderHelper::ItemCompletion completion;

  // What the host said about the folder itself. BLOCKS: until its content is on the server.
  void created(FileProviderItemPtr item, std::optional<NSError> error) {
    if (error) return fail("FP[CONTAINER] Failed to create directory", *std::move(error));
    if (contents) {
      error = FileProviderHelper::instance().importContainerSubItemsToPath(path, *contents, *progress);
    }
    if (error) return fail("FP[CONTAINER] Failed to import content", *std::move(error));
    FileProviderLogger::instance().logInfo("FP[CONTAINER] Created directory " + path);
    completion(std::move(item), without(fields, kCreationFields), false, std::nullopt);
  }

 private:
  void fail(const char* what, NSError error) {
    FileProviderLogger::instance().logError(fmt::format("{} {}. Reason: {}", what, path, u_reason(error)));
    completion(nullptr, fields, false, std::move(error));
  }
};

// What the walk and the reply to one entry share.
struct ImportedEntry {
  ImportCondition answered;
  std::optional<NSError> error;
};

void addCompleted(NSProgress& progress, const FileProviderItemPtr& item) {
  const auto size = item ? item->documentSize().value_or(0) : 0;
  progress.setCompletedUnitCount(progress.completedUnitCount() + size);
}

}  // namespace

std::shared_ptr<NSProgress> FileProviderHelper::processContainerAtPath(const std::string& path, bool mayExist,
                                                                       const std::optional<NSURL>& contents,
                                                                       bool, NSFileProviderItemFields fields,
                                                                       NSFileProviderItemFields,
                                                                       ItemCompletion completion) {
  auto progress = countContainerSubItemsAtUrl(contents);
  auto container = std::make_shared<ContainerImport>(path, contents, fields, progress, std::move(completion));
  ZeltoFileProviderClient::instance().createDirectoryWithPath(
      path, mayExist,
      [this, container = std::move(container)](FileProviderItemPtr item,
                                               std::optional<NSError> error) mutable {
        importQueue_.async(
            [container = std::move(container), item = std::move(item), error = std::move(error)]() mutable {
              container->created(std::move(item), std::move(error));
            });
      });
  return progress;
}

std::shared_ptr<NSProgress> FileProviderHelper::countContainerSubItemsAtUrl(const std::optional<NSURL>& url) {
  auto progress = NSProgress::create();
  if (!url) return progress;
  auto entries = NSFileManager::defaultManager().enumeratorAtPath(url->path());
  while (entries.nextObject()) {
    const auto& attributes = entries.fileAttributes();
    // Set, not added: the total is the last file's size.
    if (attributes.fileType == NSFileTypeRegular) {
      progress->setTotalUnitCount(static_cast<std::int64_t>(attributes.fileSize));
    }
  }
  return progress;
}

std::optional<NSError> FileProviderHelper::importContainerSubItemsToPath(const std::string& path,
                                                                         const NSURL& url,
                                                                         NSProgress& progress) {
  auto entries = NSFileManager::defaultManager().enumeratorAtPath(url.path());
  while (const auto name = entries.nextObject()) {
    const auto remotePath = stringByAppendingPathComponent(path, *name);
    const bool isFile = entries.fileAttributes().fileType == NSFileTypeRegular;
    // Shared, since the reply may still be inside the signal when the wait returns.
    const auto entry = std::make_shared<ImportedEntry>();
    importContainerSubItemToPath(remotePath, url.appendingPathComponent(*name), entries.fileAttributes(),
                                 [entry, isFile, kept = progress.shared_from_this()](
                                     const FileProviderItemPtr& item, std::optional<NSError> error) {
                                   if (isFile) addCompleted(*kept, item);
                                   entry->error = std::move(error);
                                   entry->answered.signal();
                                 });
    entry->answered.wait(importWaits_);
    if (entry->error) {
      FileProviderLogger::instance().logWarn(
          fmt::format("FP[IMPORT] Failed to import {}. Reason: {}", remotePath, description(*entry->error)));
      return std::move(entry->error);
    }
  }
  return std::nullopt;
}

void FileProviderHelper::importContainerSubItemToPath(const std::string& path, const NSURL& url,
                                                      const NSFileAttributes& attributes,
                                                      EntryCompletion completion) {
  if (attributes.fileType == NSFileTypeDirectory) {
    ZeltoFileProviderClient::instance().createDirectoryWithPath(
        path, false,
        [path, completion = std::move(completion)](FileProviderItemPtr item,
                                                   std::optional<NSError> error) mutable {
          FileProviderLogger::instance().logDebug("FP[IMPORT]   • Created Dir " + path);
          completion(std::move(item), std::move(error));
        });
    return;
  }
  const bool isFile = attributes.fileType == NSFileTypeRegular;
  queueUploadForFileAtPath(
      path, isFile ? std::optional(url) : std::nullopt, true, NSDate::now(), NSFileProviderItemFields::none,
      NSFileProviderItemFields::none,
      [path, isFile, type = attributes.fileType, completion = std::move(completion)](
          FileProviderItemPtr item, NSFileProviderItemFields, bool, std::optional<NSError> error) mutable {
        auto& logger = FileProviderLogger::instance();
        if (isFile) {
          logger.logDebug("FP[IMPORT]   • Queued " + path);
        } else {
          logger.logWarn(fmt::format("FP[IMPORT]   • Unsupported file {} ({})", path, type));
        }
        completion(std::move(item), std::move(error));
      });
}

}  // namespace zelto
