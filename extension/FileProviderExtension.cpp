#include "extension/FileProviderExtension.h"

#include <fmt/format.h>
#include <unistd.h>

#include "actions/FileProviderCustomAction.h"
#include "enumeration/FileProviderEnumerator.h"
#include "host/ZeltoFileProviderClient.h"
#include "model/FileProviderItem.h"
#include "support/FileProviderLogger.h"
#include "transfer/FileProviderThumbnail.h"

namespace zelto {

namespace {

void logRange(const char* what, const std::string& identifier, NSRange range) {
  FileProviderLogger::instance().logInfo(fmt::format("FP[RANGE] {} {} ({}->{})", what, identifier,
                                                     static_cast<std::int64_t>(range.location),
                                                     static_cast<std::int64_t>(range.end())));
}

}  // namespace

FileProviderExtension::FileProviderExtension(const NSFileProviderDomain&) {
  ZeltoFileProviderClient::instance().start();
}

void FileProviderExtension::invalidate() {
  FileProviderLogger::instance().logInfo(
      fmt::format("FP[Main] Invalidate: System is releasing FileProvider (app pid:{})", ::getpid()));
}

std::shared_ptr<NSProgress> FileProviderExtension::supportedServiceSourcesForItemIdentifier(
    const std::string&,
    Completion<std::vector<std::shared_ptr<NSFileProviderServiceSource>>, std::optional<NSError>>
        completionHandler) {
  // Not owned: the client lives as long as the process.
  const std::shared_ptr<NSFileProviderServiceSource> source(std::shared_ptr<void>(),
                                                            &ZeltoFileProviderClient::instance());
  completionHandler({source}, std::nullopt);
  return NSProgress::create();
}

std::shared_ptr<NSFileProviderEnumerator> FileProviderExtension::enumeratorForContainerItemIdentifier(
    const std::string& containerItemIdentifier, const NSFileProviderRequest&, std::optional<NSError>*) {
  return FileProviderEnumerator::enumeratorForIdentifier(containerItemIdentifier);
}

std::shared_ptr<NSProgress> FileProviderExtension::itemForIdentifier(
    const std::string& identifier, const NSFileProviderRequest&,
    Completion<NSFileProviderItemPtr, std::optional<NSError>> completionHandler) {
  return FileProviderItem::findProviderItemForIdentifier(identifier, std::move(completionHandler));
}

std::shared_ptr<NSProgress> FileProviderExtension::fetchContentsForItemWithIdentifier(
    const std::string& identifier, const std::optional<NSFileProviderItemVersion>&,
    const NSFileProviderRequest&,
    Completion<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>> completionHandler) {
  FileProviderLogger::instance().logInfo("FP[Main] Download:" + identifier);
  return ZeltoFileProviderClient::instance().downloadItemWithPath(identifier, std::move(completionHandler));
}

std::shared_ptr<NSProgress> FileProviderExtension::fetchPartialContentsForItemWithIdentifier(
    const std::string& identifier, const NSFileProviderItemVersion&, const NSFileProviderRequest&,
    NSRange minimalRange, std::uint64_t aligningTo, NSFileProviderFetchContentsOptions,
    Completion<std::optional<NSURL>, NSFileProviderItemPtr, NSRange, NSFileProviderMaterializationFlags,
               std::optional<NSError>>
        completionHandler) {
  logRange("Downloading", identifier, minimalRange);
  // The alignment is the host's to keep: it knows the file's end.
  return ZeltoFileProviderClient::instance().downloadItemWithPath(
      identifier, minimalRange, static_cast<std::int64_t>(aligningTo),
      [identifier, completion = std::move(completionHandler)](std::optional<NSURL> url,
                                                              FileProviderItemPtr item, NSRange range,
                                                              std::optional<NSError> error) mutable {
        logRange("Downloaded", identifier, range);
        completion(std::move(url), std::move(item), range, NSFileProviderMaterializationFlags::none,
                   std::move(error));
      });
}

std::shared_ptr<NSProgress> FileProviderExtension::fetchThumbnailsForItemIdentifiers(
    const std::vector<std::string>& itemIdentifiers, CGSize requestedSize,
    NSFileProviderThumbnailHandler perThumbnailCompletionHandler,
    Completion<std::optional<NSError>> completionHandler) {
  return FileProviderThumbnail::manager().fetchThumbnailsForItemIdentifiers(
      itemIdentifiers, requestedSize, std::move(perThumbnailCompletionHandler), std::move(completionHandler));
}

std::shared_ptr<NSProgress> FileProviderExtension::performActionWithIdentifier(
    const std::string& actionIdentifier, const std::vector<std::string>& onItemsWithIdentifiers,
    Completion<std::optional<NSError>> completionHandler) {
  return FileProviderCustomAction::instance().performActionWithIdentifier(
      actionIdentifier, onItemsWithIdentifiers, std::move(completionHandler));
}

}  // namespace zelto
