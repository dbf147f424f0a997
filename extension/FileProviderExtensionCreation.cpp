#include "extension/FileProviderExtension.h"
#include "support/FileProviderLogger.h"
#include "transfer/FileProviderHelper.h"

namespace zelto {

namespace {

// What is still pending after a creation is not told by the fields that remain: this one bit, which names no
// field, is given unless it is among them.
NSFileProviderItemFields pendingAfterCreation(NSFileProviderItemFields remaining) {
  constexpr auto kBit = static_cast<NSFileProviderItemFields>(0x80000000U);
  return contains(remaining, kBit) ? NSFileProviderItemFields::none : kBit;
}

FileProviderHelper::ItemCompletion creationCompletion(NSFileProviderItemPtr itemTemplate,
                                                      NSFileProviderItemCompletion completionHandler) {
  return [itemTemplate = std::move(itemTemplate), completion = std::move(completionHandler)](
             FileProviderItemPtr item, NSFileProviderItemFields remaining, bool fetchContent,
             std::optional<NSError> error) mutable {
    if (item) item->updateContentType(itemTemplate->contentType());
    completion(std::move(item), pendingAfterCreation(remaining), fetchContent, std::move(error));
  };
}

bool isFolder(const NSFileProviderItem& item) {
  return item.contentType() && item.contentType()->conformsTo(UTType::directory());
}

}  // namespace

std::shared_ptr<NSProgress> FileProviderExtension::createItemBasedOnTemplate(
    const NSFileProviderItemPtr& itemTemplate, NSFileProviderItemFields fields,
    const std::optional<NSURL>& contents, NSFileProviderCreateItemOptions options,
    const NSFileProviderRequest&, NSFileProviderItemCompletion completionHandler) {
  auto& logger = FileProviderLogger::instance();
  auto& helper = FileProviderHelper::instance();
  // Not joined by path rules: the host gets the parent as the framework has it.
  const auto path =
      description(itemTemplate->parentItemIdentifier()) + "/" + description(itemTemplate->filename());
  if (isFolder(*itemTemplate)) {
    logger.logInfo("FP[Create] Creating container " + path);
    return helper.processContainerAtPath(
        path, contains(options, NSFileProviderCreateItemOptions::mayAlreadyExist), contents, true, fields,
        kCreationFields, creationCompletion(itemTemplate, std::move(completionHandler)));
  }
  if (!contains(fields, kCreationFields)) {
    logger.logWarn("FP[Create] Create item with 'no content' " + path);
    completionHandler(nullptr, NSFileProviderItemFields::none, false, std::nullopt);
    return NSProgress::create();
  }
  logger.logInfo("FP[Create] Creating file " + path);
  return helper.queueUploadForFileAtPath(path, itemTemplate->symlinkTargetPath() ? std::nullopt : contents,
                                         true, NSDate::now(), fields, kCreationFields,
                                         creationCompletion(itemTemplate, std::move(completionHandler)));
}

}  // namespace zelto
