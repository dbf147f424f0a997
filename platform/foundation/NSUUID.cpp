#include "platform/foundation/NSUUID.h"

#include <uuid/uuid.h>

namespace zelto {

std::string newUUIDString() {
  uuid_t bytes;
  ::uuid_generate_random(bytes);
  std::string text(UUID_STR_LEN, '\0');
  ::uuid_unparse_upper(bytes, text.data());
  text.resize(UUID_STR_LEN - 1);
  return text;
}

}  // namespace zelto
