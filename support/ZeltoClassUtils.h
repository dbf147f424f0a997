#pragma once

#include <cstdint>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// The classes of property-list values. A boolean is a number, and everything is an object.
enum class NSClass : std::uint8_t { Object, Number, Boolean, String, Date, Data, Array, Dictionary };

class ZeltoClassUtils {
 public:
  // Whether the item is an instance of the class or of one below it; false for an absent (null) one. Logs
  // nothing. THREAD: any.
  static bool isKindOfClassForItem(const PropertyListValue* item, NSClass typeOfClass);
};

}  // namespace zelto
