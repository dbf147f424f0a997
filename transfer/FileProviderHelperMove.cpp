#include <fmt/format.h>

#include "host/ZeltoFileProviderClient.h"
#include "support/FileProviderLogger.h"
#include "transfer/FileProviderHelper.h"

namespace zelto {

namespace {

void logFailure(const char* what, const std::string& identifier, const NSError& error) {
  FileProviderLogger::instance().logError(
      fmt::format("{} {}. Reason: {}", what, identifier, description(error)));
}

// There is no trash on the server: what is moved there is deleted.
std::shared_ptr<NSProgress> deleteItem(const std::string& identifier, NSFileProviderItemFields changedFields,
                                       NSFileProviderItemFields field,
                                       NSFileProviderItemCompletion completion) {
  FileProviderLogger::instance().logInfo("FP[DEL] Delete " + identifier);
  return ZeltoFileProviderClient::instance().deleteItemWithPath(
      identifier, [identifier, changedFields, field,
                   completion = std::move(completion)](std::optional<NSError> error) mutable {
        if (error) {
          logFailure("FP[DEL] Failed to delete", identifier, *error);
          return completion(nullptr, changedFields, false, std::move(error));
        }
        FileProviderLogger::instance().logInfo("FP[DEL] Deleted " + identifier);
        completion(nullptr, without(changedFields, field), false, std::nullopt);
      });
}

std::shared_ptr<NSProgress> moveItem(const NSFileProviderItemPtr& item, const std::string& identifier,
                                     const std::string& destination, NSFileProviderItemFields changedFields,
                                     NSFileProviderItemFields field,
                                     NSFileProviderItemCompletion completion) {
  return ZeltoFileProviderClient::instance().moveItemWithPath(
      identifier, destination,
      [item, identifier, changedFields, field, completion = std::move(completion)](
          FileProviderItemPtr moved, std::optional<NSError> error) mutable {
        if (error) {
          logFailure("FP[MOVE] Failed to move", identifier, *error);
          return completion(nullptr, changedFields, false, std::move(error));
        }
        completion(moved ? std::move(moved) : std::move(item), without(changedFields, field), false,
                   std::nullopt);
      });
}

}  // namespace

std::shared_ptr<NSProgress> FileProviderHelper::moveProviderItem(
    const NSFileProviderItemPtr& item, const std::string& destination, NSFileProviderItemFields changedFields,
    NSFileProviderItemFields field, NSFileProviderItemCompletion completionHandler) {
  const auto identifier = item->itemIdentifier().value_or("");
  if (destination.starts_with(*FileProviderItem::providerItemForTrash()->itemIdentifier())) {
    return deleteItem(identifier, changedFields, field, std::move(completionHandler));
  }
  return moveItem(item, identifier, destination, changedFields, field, std::move(completionHandler));
}

}  // namespace zelto
