#include <mutex>
#include <utility>

#include <fmt/format.h>

#include "host/SharedValue.h"
#include "host/ZeltoFileProviderClient.h"
#include "model/FileProviderUtils.h"
#include "platform/foundation/NSFileManager.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"
#include "transfer/FileProviderHelper.h"

namespace zelto {

namespace {

using ItemCompletion = FileProviderHelper::ItemCompletion;

// The user cancelled. Compared without the domain, since hosts report it in more than one.
constexpr std::int64_t kCancelledCode = 3072;

// The request's completion, for whoever takes it first: the reply or a cancellation.
class PendingCompletion {
 public:
  explicit PendingCompletion(ItemCompletion completion) : completion_(std::move(completion)) {}

  // Empty once it is taken.
  ItemCompletion take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(completion_, nullptr);
  }

 private:
  std::mutex mutex_;
  ItemCompletion completion_;
};

using PendingCompletionPtr = std::shared_ptr<PendingCompletion>;

// One upload as the host's reply sees it.
class Upload {
 public:
  Upload(std::string path, NSFileProviderItemFields fields, NSFileProviderItemFields field,
         PendingCompletionPtr pending)
      : path_(std::move(path)), fields_(fields), field_(field), pending_(std::move(pending)) {}

  void keep(std::shared_ptr<NSProgress> progress) { progress_.set(std::move(progress)); }

  void answered(FileProviderItemPtr item, std::optional<NSError> error) {
    auto& logger = FileProviderLogger::instance();
    if (error && error->code() == kCancelledCode) {
      logger.logWarn("FP[QUEUE] Cancelling " + path_);
      // Its cancellation handler completes.
      if (const auto progress = progress_.get()) progress->cancel();
    } else if (error) {
      logger.logError(fmt::format("FP[QUEUE] Failed to upload {}. Reason: {}", path_, u_reason(*error)));
      complete(nullptr, fields_, std::move(error));
    } else {
      logger.logInfo("FP[QUEUE] Completed " + path_);
      complete(std::move(item), without(fields_, field_), std::nullopt);
    }
  }

 private:
  void complete(FileProviderItemPtr item, NSFileProviderItemFields pending, std::optional<NSError> error) {
    if (auto completion = pending_->take()) completion(std::move(item), pending, false, std::move(error));
  }

  const std::string path_;
  const NSFileProviderItemFields fields_;
  const NSFileProviderItemFields field_;
  const PendingCompletionPtr pending_;
  SharedValue<NSProgress> progress_;
};

void cancelled(const std::string& path, PendingCompletion& pending) {
  auto completion = pending.take();
  if (!completion) return;
  FileProviderLogger::instance().logWarn("FP[QUEUE] Cancelled " + path);
  completion(nullptr, NSFileProviderItemFields::none, false, FileProviderErrorUtils::errorCancelled());
}

std::shared_ptr<NSProgress> uploadFile(const std::string& path, const NSURL& contents, bool creating,
                                       const std::optional<NSDate>& modifiedDate,
                                       NSFileProviderItemFields fields, NSFileProviderItemFields field,
                                       ItemCompletion completion) {
  const auto pending = std::make_shared<PendingCompletion>(std::move(completion));
  const auto upload = std::make_shared<Upload>(path, fields, field, pending);
  auto progress = ZeltoFileProviderClient::instance().uploadFileWithPath(
      path, contents, creating, modifiedDate,
      [upload](FileProviderItemPtr item, std::optional<NSError> error) {
        upload->answered(std::move(item), std::move(error));
      });
  upload->keep(progress);
  // Without the upload, which holds the progress.
  progress->setCancellationHandler([path, pending] { cancelled(path, *pending); });
  return progress;
}

std::shared_ptr<NSProgress> skipFolder(const std::string& path, NSFileProviderItemFields fields,
                                       NSFileProviderItemFields field, ItemCompletion completion) {
  return FileProviderItem::findProviderItemForIdentifier(
      path, [path, fields, field, completion = std::move(completion)](
                FileProviderItemPtr item, const std::optional<NSError>& error) mutable {
        if (error) {
          FileProviderLogger::instance().logWarn("FP[QUEUE] Failed to find container " + path);
          return completion(nullptr, fields, false,
                            FileProviderErrorUtils::errorNoSuchItemWithReason("Failed to find container"));
        }
        FileProviderLogger::instance().logDebug("FP[QUEUE] Skipping container " + path);
        completion(std::move(item), without(fields, field), false, std::nullopt);
      });
}

std::shared_ptr<NSProgress> refuse(const std::string& message, const char* reason,
                                   NSFileProviderItemFields fields, ItemCompletion& completion) {
  FileProviderLogger::instance().logError(message);
  completion(nullptr, fields, false, FileProviderErrorUtils::errorNoSuchItemWithReason(reason));
  return NSProgress::create();
}

// A new empty file in the group directory.
std::optional<NSURL> placeholderFile() {
  auto url = FileProviderUtils::urlForTemporaryFileInGroupDirectory();
  if (!url || !NSFileManager::defaultManager().createFileAtPath(url->path())) return std::nullopt;
  return url;
}

}  // namespace

std::shared_ptr<NSProgress> FileProviderHelper::queueUploadForFileAtPath(
    const std::string& path, const std::optional<NSURL>& contents, bool creating,
    const std::optional<NSDate>& modifiedDate, NSFileProviderItemFields fields,
    NSFileProviderItemFields field, ItemCompletion completion) {
  auto file = contents;
  if (!file) {
    FileProviderLogger::instance().logWarn("FP[QUEUE] Creating zero-length file for unsupported file type " +
                                           path);
    file = placeholderFile();
    if (!file) {
      return refuse("FP[QUEUE] Failed to create zero-length file for " + path, "Zero length file", fields,
                    completion);
    }
  }
  bool isDirectory = false;
  if (!NSFileManager::defaultManager().fileExists(*file, isDirectory)) {
    return refuse("FP[QUEUE] No content found for " + path, "No content", fields, completion);
  }
  if (isDirectory) return skipFolder(path, fields, field, std::move(completion));
  return uploadFile(path, *file, creating, modifiedDate, fields, field, std::move(completion));
}

}  // namespace zelto
