#include "support/ZeltoClassUtils.h"

namespace zelto {

bool ZeltoClassUtils::isKindOfClassForItem(const PropertyListValue* item, NSClass typeOfClass) {
  if (item == nullptr) return false;
  switch (typeOfClass) {
    case NSClass::Object:
      return true;
    case NSClass::Number:
      return item->isNumber();
    case NSClass::Boolean:
      return item->asBoolean() != nullptr;
    case NSClass::String:
      return item->asString() != nullptr;
    case NSClass::Date:
      return item->asDate() != nullptr;
    case NSClass::Data:
      return item->asData() != nullptr;
    case NSClass::Array:
      return item->asArray() != nullptr;
    case NSClass::Dictionary:
      return item->asDictionary() != nullptr;
  }
  return false;
}

}  // namespace zelto
