#include "cli/JsonFields.h"

namespace zelto::cli {

std::string textField(const NSDictionary& object, std::string_view key) {
  const PropertyListValue* value = object.find(key);
  return value != nullptr && value->asString() != nullptr ? *value->asString() : "";
}

std::int64_t numberField(const NSDictionary& object, std::string_view key) {
  const PropertyListValue* value = object.find(key);
  return value == nullptr ? 0 : value->integerValue();
}

double realField(const NSDictionary& object, std::string_view key) {
  const PropertyListValue* value = object.find(key);
  return value == nullptr ? 0 : value->doubleValue();
}

bool flagField(const NSDictionary& object, std::string_view key) { return numberField(object, key) != 0; }

NSDictionary objectField(const NSDictionary& object, std::string_view key) {
  const PropertyListValue* value = object.find(key);
  return value != nullptr && value->asDictionary() != nullptr ? *value->asDictionary() : NSDictionary();
}

}  // namespace zelto::cli
