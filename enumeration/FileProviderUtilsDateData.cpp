#include <fmt/format.h>

#include "model/FileProviderItem.h"
#include "model/FileProviderUtils.h"
#include "platform/foundation/KeyedArchive.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

std::optional<NSData> FileProviderUtils::dataForDate(NSDate date) {
  auto data = NSKeyedArchiver::archivedData({{"date", date}});
  if (data) return *std::move(data);
  FileProviderLogger::instance().logError(
      fmt::format("Failed to encode date '{}'", description(PropertyListValue(date))));
  return std::nullopt;
}

std::optional<NSDate> FileProviderUtils::dateFromData(const NSData& data) {
  auto& logger = FileProviderLogger::instance();
  const auto dictionary = NSKeyedUnarchiver::unarchivedDictionary(data);
  if (!dictionary) {
    logger.logError("FPUtils[Unarchive] Failed to decode date. Reason: " + u_reason(dictionary.error()));
    return std::nullopt;
  }
  const auto* value = dictionary->find("date");
  if (value == nullptr || value->asDate() == nullptr) {
    logger.logError("Failed to extract date from dictionary:\n" + description(*dictionary));
    return std::nullopt;
  }
  return *value->asDate();
}

std::shared_ptr<const NSFileProviderItemVersion> FileProviderUtils::versionForItem(FileProviderItem& item) {
  const auto date = item.contentModificationDate();
  const auto data = dataForDate(date ? *date : NSDate::now()).value_or(NSData());
  return std::make_shared<const NSFileProviderItemVersion>(NSFileProviderItemVersion{data, data});
}

}  // namespace zelto
