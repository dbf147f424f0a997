// Operations that move, create or transfer one item.
#include <fmt/format.h>
#include <unistd.h>

#include "host/ZeltoFileProviderClient.h"
#include "model/FileProviderUtils.h"
#include "platform/foundation/Path.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

// The user cancelled. Compared without the domain, since hosts report it in more than one.
constexpr std::int64_t kCancelledCode = 3072;

FileProviderItemPtr fileItem(const std::optional<NSDictionary>& dictionary) {
  return FileProviderItem::providerItemForFileDictionary(dictionary ? *dictionary : NSDictionary());
}

void logFailure(const char* what, const std::string& path, const NSError& error) {
  FileProviderLogger::instance().logError(fmt::format("{} {}. Reason: {}", what, path, description(error)));
}

void logDownloadError(const std::string& path, const NSError& error) {
  if (error.code() != kCancelledCode) return logFailure("FP[DOWN] Download failed", path, error);
  FileProviderLogger::instance().logWarn("FP[DOWN] Download cancelled: " + path);
}

// A new file of the group directory with the bytes at their own offset.
std::expected<NSURL, NSError> saveRange(const NSData& data, NSRange range) {
  auto url = FileProviderUtils::urlForTemporaryFileInGroupDirectory();
  if (!url) return std::unexpected(FileProviderErrorUtils::errorForGenericReason("No group directory"));
  const auto offset = static_cast<std::int64_t>(range.location);
  if (auto error = FileProviderUtils::writeData(data, url->path(), offset)) {
    // What did reach it would keep a full disk full.
    ::unlink(url->path().c_str());
    return std::unexpected(*std::move(error));
  }
  return *std::move(url);
}

void answerRange(const std::string& path, const std::optional<NSData>& data,
                 const std::optional<NSDictionary>& dictionary, NSRange range,
                 ZeltoFileProviderClient::RangeItemReply& completion) {
  auto url = saveRange(data.value_or(NSData()), range);
  if (url) return completion(*std::move(url), fileItem(dictionary), range, std::nullopt);
  FileProviderLogger::instance().logError(
      fmt::format("FP[RANGE] Failed to save data {}. Reason: {}", path, u_reason(url.error())));
  completion(std::nullopt, nullptr, range, FileProviderErrorUtils::errorForGenericReason("write failed"));
}

}  // namespace

std::shared_ptr<NSProgress> ZeltoFileProviderClient::moveItemWithPath(const std::string& path,
                                                                      const std::string& destination,
                                                                      ItemReply completion) {
  const auto host = server();
  if (!host) return NSProgress::create();
  return host->moveItemWithPath(
      path, destination,
      [path, destination, completion = std::move(completion)](const std::optional<NSDictionary>& dictionary,
                                                              std::optional<NSError> error) mutable {
        if (error) {
          logFailure("FP[MOVE] Failed", path, *error);
          return completion(nullptr, std::move(error));
        }
        FileProviderLogger::instance().logInfo(fmt::format("FP[MOVE] Moved: {} -> {}", path, destination));
        completion(fileItem(dictionary), std::nullopt);
      });
}

std::shared_ptr<NSProgress> ZeltoFileProviderClient::createDirectoryWithPath(const std::string& path,
                                                                             bool mayExist,
                                                                             ItemReply completion) {
  const auto host = server();
  if (!host) return NSProgress::create();
  return host->createDirectoryWithPath(
      path, mayExist,
      [path, completion = std::move(completion)](const std::optional<NSDictionary>& dictionary,
                                                 std::optional<NSError> error) mutable {
        if (error) {
          logFailure("FP[CreateDir] Failed", path, *error);
          return completion(nullptr, std::move(error));
        }
        FileProviderLogger::instance().logInfo("FP[CreateDir] Created " + path);
        completion(fileItem(dictionary), std::nullopt);
      });
}

std::shared_ptr<NSProgress> ZeltoFileProviderClient::uploadFileWithPath(
    const std::string& path, const NSURL& contentUrl, bool creating,
    const std::optional<NSDate>& modifiedDate, ItemReply completion) {
  auto staged = FileProviderUtils::stagingUrlMovedFromUrl(contentUrl);
  if (!staged) {
    logFailure("FP[UPLOAD] Could not stage upload", path, staged.error());
    completion(nullptr, std::move(staged).error());
    return NSProgress::create();
  }
  const auto host = server();
  if (!host) return NSProgress::create();
  return host->uploadFileWithPath(
      path, *std::move(staged), creating, modifiedDate,
      [path, completion = std::move(completion)](const std::optional<NSDictionary>& dictionary,
                                                 std::optional<NSError> error) mutable {
        if (error) {
          logFailure("FP[UPLOAD] Failed to queue", path, *error);
          return completion(nullptr, std::move(error));
        }
        completion(fileItem(dictionary), std::nullopt);
      });
}

std::shared_ptr<NSProgress> ZeltoFileProviderClient::downloadItemWithPath(const std::string& path,
                                                                          DownloadItemReply completion) {
  const auto host = server();
  if (!host) return NSProgress::create();
  return host->downloadItemWithPath(
      path, [path, completion = std::move(completion)](std::optional<NSURL> url,
                                                       const std::optional<NSDictionary>& dictionary,
                                                       std::optional<NSError> error) mutable {
        if (error) {
          logDownloadError(path, *error);
          return completion(std::nullopt, nullptr, std::move(error));
        }
        FileProviderLogger::instance().logInfo("FP[DOWN] Downloaded: " + path);
        auto item = fileItem(dictionary);
        if (item) updateFileTypeForItem(*item);
        completion(std::move(url), std::move(item), std::nullopt);
      });
}

void ZeltoFileProviderClient::updateFileTypeForItem(FileProviderItem& item) {
  if (!item.flags().isDirectory) return;
  const auto identifier = item.itemIdentifier().value_or("");
  const auto extension = pathExtension(identifier);
  if (extension.empty()) return;
  const auto type = UTType::typeWithFilenameExtension(extension);
  if (!type) return;
  FileProviderLogger::instance().logInfo(
      fmt::format("FP[DOWN] Updating type for {} to {}", identifier, type->identifier()));
  item.updateContentType(type);
}

std::shared_ptr<NSProgress> ZeltoFileProviderClient::downloadItemWithPath(const std::string& path,
                                                                          NSRange requestedRange,
                                                                          std::int64_t alignment,
                                                                          RangeItemReply completion) {
  const auto host = server();
  if (!host) return NSProgress::create();
  return host->downloadItemWithPath(
      path, requestedRange, alignment,
      [path, completion = std::move(completion)](const std::optional<NSData>& data,
                                                 const std::optional<NSDictionary>& dictionary, NSRange range,
                                                 std::optional<NSError> error) mutable {
        if (!error) return answerRange(path, data, dictionary, range, completion);
        logFailure("FP[RANGE] Download failed", path, *error);
        completion(std::nullopt, nullptr, range, std::move(error));
      });
}

}  // namespace zelto
