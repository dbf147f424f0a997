#pragma once

#include <optional>
#include <string>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// Broadcasts the extension's events to the host application, which may not be connected yet.
// THREAD: any.
class ZeltoFileProviderNotifier {
 public:
  static ZeltoFileProviderNotifier& instance();

  void sendStartedListeningNotification();
  // The broadcast's object is {name: value, "extra": extra} as compact JSON.
  // ERRORS: false, after a line in the log, where JSON cannot express it.
  bool broadcastEventName(const std::string& name, const PropertyListValue& value,
                          const std::optional<PropertyListValue>& extra);

 private:
  ZeltoFileProviderNotifier() = default;
};

}  // namespace zelto
