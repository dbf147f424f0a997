#include "host/ZeltoFileProviderNotifier.h"

#include <fmt/format.h>

#include "platform/messaging/NSDistributedNotificationCenter.h"
#include "support/DateUtils.h"
#include "support/DictionaryUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

constexpr const char* kNotificationName = "it.pellam.Zelto.FP.Notification";

}  // namespace

ZeltoFileProviderNotifier& ZeltoFileProviderNotifier::instance() {
  static auto* const shared = new ZeltoFileProviderNotifier();
  return *shared;
}

void ZeltoFileProviderNotifier::sendStartedListeningNotification() {
  broadcastEventName("providerListening", formattedDateTime(NSDate::now()), std::nullopt);
}

bool ZeltoFileProviderNotifier::broadcastEventName(const std::string& name, const PropertyListValue& value,
                                                   const std::optional<PropertyListValue>& extra) {
  auto& logger = FileProviderLogger::instance();
  const auto event = fmt::format("'{}={}'", name, description(value));
  NSDictionary dictionary{{name, value}};
  if (extra) {
    logger.logDebug(fmt::format("FP[SendEvent] Broadcasting {} (extra={})", event, description(*extra)));
    dictionary.set("extra", *extra);
  } else {
    logger.logDebug("FP[SendEvent] Broadcasting " + event);
  }
  const auto text = u_jsonForDictionary(dictionary);
  if (!text) {
    logger.logWarn("FP[SendEvent] Failed to serialise " + event);
    return false;
  }
  NSDistributedNotificationCenter::defaultCenter().postNotification(kNotificationName, *text);
  return true;
}

}  // namespace zelto
