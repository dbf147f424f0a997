#include "platform/foundation/UuidName.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <uuid/uuid.h>

namespace zelto {

bool isUuidName(std::string_view name) {
  constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::ranges::equal(name, kForm, [](char c, char form) {
    return form == 'x' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c == form;
  });
}

std::string newUuidName() {
  uuid_t uuid;
  std::array<char, UUID_STR_LEN> text{};
  ::uuid_generate_random(uuid);
  ::uuid_unparse_upper(uuid, text.data());
  return text.data();
}

bool isUnfinishedName(std::string_view name) {
  return name.starts_with(kUnfinishedPrefix) && isUuidName(name.substr(kUnfinishedPrefix.size()));
}

}  // namespace zelto
