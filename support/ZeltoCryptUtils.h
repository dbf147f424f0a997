#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// Digests, message authentication, Base64 and what a server's authentication token claims. No state. THREAD:
// any. A failure is logged where its operation says so.
class ZeltoCryptUtils {
 public:
  // MD5 of the bytes up to the first NUL, as 32 small hexadecimal digits.
  static std::string md5StringForString(std::string_view string);

  // "user@host" or "user@host:port" in small letters, under which an account is known.
  // ERRORS: nothing, after a warning, for an empty user id and for an address that is not valid.
  static std::optional<std::string> accountKeyForUserId(const std::string& userId,
                                                        const std::string& serverAddress);

  // HMAC-SHA-256 of the message in standard Base64; key and message each count up to their first NUL.
  static std::string base64HMACWithString(std::string_view string, std::string_view key);

  // The claims in the token's body. The signature is not looked at.
  // ERRORS: nothing, after a warning, unless the token has three parts and a body that can be decoded;
  // nothing, after an error line, unless the body is a JSON object.
  static std::optional<NSDictionary> dictionaryForAuthToken(const std::string& token);

  // Standard Base64 with padding, on one line.
  static std::string base64Encode(std::string_view string);
  // Takes both alphabets of RFC 4648, with or without padding. ERRORS: nothing for what is not Base64, and
  // where the bytes are not UTF-8.
  static std::optional<std::string> base64Decode(std::string_view string);
};

}  // namespace zelto
