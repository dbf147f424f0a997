#include <fmt/format.h>

#include "extension/FileProviderExtension.h"
#include "extension/MetadataChange.h"
#include "platform/foundation/Path.h"
#include "support/FileProviderLogger.h"
#include "transfer/FileProviderHelper.h"

namespace zelto {

namespace {

using enum NSFileProviderItemFields;

void logChange(const char* what, const NSFileProviderItem& item) {
  FileProviderLogger::instance().logInfo(
      fmt::format("FPMain[MODIFIED] {} '{}'", what, description(item.itemIdentifier())));
}

std::shared_ptr<NSProgress> upload(const NSFileProviderItemPtr& item, NSFileProviderItemFields changedFields,
                                   const std::optional<NSURL>& contentUrl,
                                   NSFileProviderItemCompletion completionHandler) {
  logChange("Upload", *item);
  return FileProviderHelper::instance().queueUploadForFileAtPath(
      item->itemIdentifier().value_or(""), contentUrl, false, item->contentModificationDate(), changedFields,
      contents,
      [item, completion = std::move(completionHandler)](FileProviderItemPtr uploaded,
                                                        NSFileProviderItemFields remaining, bool fetchContent,
                                                        std::optional<NSError> error) mutable {
        if (uploaded) uploaded->updateContentType(item->contentType());
        completion(std::move(uploaded), remaining, fetchContent, std::move(error));
      });
}

std::shared_ptr<NSProgress> move(const char* what, const NSFileProviderItemPtr& item,
                                 NSFileProviderItemFields changedFields, NSFileProviderItemFields field,
                                 NSFileProviderItemCompletion completionHandler) {
  logChange(what, *item);
  const auto destination = stringByAppendingPathComponent(item->parentItemIdentifier().value_or(""),
                                                          item->filename().value_or(""));
  return FileProviderHelper::instance().moveProviderItem(item, destination, changedFields, field,
                                                         std::move(completionHandler));
}

std::shared_ptr<NSProgress> ignore(const NSFileProviderItemPtr& item, NSFileProviderItemFields changedFields,
                                   NSFileProviderItemCompletion completionHandler) {
  const auto bits = static_cast<std::uint64_t>(changedFields);
  FileProviderLogger::instance().logWarn(fmt::format("FPMain[MODIFIED] Unknown changes 0x{:x} ({}) {}", bits,
                                                     bits, description(item->itemIdentifier())));
  completionHandler(item, none, false, std::nullopt);
  return NSProgress::create();
}

}  // namespace

// One group of fields at a time, the first that is found; the framework asks again for what is left.
std::shared_ptr<NSProgress> FileProviderExtension::modifyItem(
    const NSFileProviderItemPtr& item, const NSFileProviderItemVersion&,
    NSFileProviderItemFields changedFields, const std::optional<NSURL>& contents,
    NSFileProviderModifyItemOptions, const NSFileProviderRequest&,
    NSFileProviderItemCompletion completionHandler) {
  if (contains(changedFields, NSFileProviderItemFields::contents)) {
    return upload(item, changedFields, contents, std::move(completionHandler));
  }
  if (contains(changedFields, filename)) {
    return move("Rename", item, changedFields, filename, std::move(completionHandler));
  }
  if (contains(changedFields, parentItemIdentifier)) {
    return move("Move", item, changedFields, parentItemIdentifier, std::move(completionHandler));
  }
  if (const auto* change = metadataChangeFor(changedFields)) {
    return acknowledge(*change, item, changedFields, std::move(completionHandler));
  }
  return ignore(item, changedFields, std::move(completionHandler));
}

}  // namespace zelto
