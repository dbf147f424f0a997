#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto::cli {

// The fields of a parsed JSON object; a missing field, or one of another type, reads as empty.
std::string textField(const NSDictionary& object, std::string_view key);
std::int64_t numberField(const NSDictionary& object, std::string_view key);
double realField(const NSDictionary& object, std::string_view key);
bool flagField(const NSDictionary& object, std::string_view key);
NSDictionary objectField(const NSDictionary& object, std::string_view key);

}  // namespace zelto::cli
