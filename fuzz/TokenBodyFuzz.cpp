#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/foundation/Base64.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/Unicode.h"
#include "support/ZeltoCryptUtils.h"

namespace {

using namespace zelto;

// The claims of a token are what its body says, and nothing where that is no object.
void checkBody(const std::string& body) {
  const auto claims =
      ZeltoCryptUtils::dictionaryForAuthToken("h." + ZeltoCryptUtils::base64Encode(body) + ".s");
  const auto value = NSJSONSerialization::valueWithString(body);
  const auto* expected = value && isValidUTF8(body) ? value->asDictionary() : nullptr;
  if (claims.has_value() != (expected != nullptr) || (claims && !(*claims == *expected))) std::abort();
}

// What is taken for Base64 is written and read again as the same bytes.
void checkText(const std::string& text) {
  const auto bytes = base64Decoded(text);
  if (bytes && base64Decoded(base64Encoded(*bytes)) != bytes) std::abort();
  (void)ZeltoCryptUtils::dictionaryForAuthToken(text);
  (void)ZeltoCryptUtils::dictionaryForAuthToken("h." + text + ".s");
}

}  // namespace

// The first byte chooses: the body as it is, or as it is sent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(bytes + 1), size - 1);
  if (bytes[0] % 2 == 0) checkBody(text);
  if (bytes[0] % 2 == 1) checkText(text);
  return 0;
}
