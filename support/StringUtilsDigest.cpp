#include "support/StringUtils.h"
#include "support/ZeltoCryptUtils.h"

namespace zelto {

// In a file of its own: a program that takes no digests does not load the library for them.
std::string u_MD5(std::string_view receiver) { return ZeltoCryptUtils::md5StringForString(receiver); }

}  // namespace zelto
