#include "hostapp/UuidName.h"

#include <array>

#include <uuid/uuid.h>

namespace zelto {

std::string newUuidName() {
  uuid_t uuid;
  std::array<char, UUID_STR_LEN> text{};
  ::uuid_generate_random(uuid);
  ::uuid_unparse_upper(uuid, text.data());
  return text.data();
}

bool isUuidName(const std::string& name) {
  uuid_t uuid;
  return name.size() == UUID_STR_LEN - 1 && ::uuid_parse(name.c_str(), uuid) == 0;
}

}  // namespace zelto
