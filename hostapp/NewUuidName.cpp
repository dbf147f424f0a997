#include "hostapp/NewUuidName.h"

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

}  // namespace zelto
