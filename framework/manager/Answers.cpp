#include "framework/manager/Answers.h"

#include <algorithm>

#include "platform/foundation/Unicode.h"

namespace zelto {

std::string readable(std::string path) {
  if (isValidUTF8(path)) return path;
  std::ranges::replace_if(
      path, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
  return path;
}

}  // namespace zelto
