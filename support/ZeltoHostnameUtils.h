#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSURLComponents.h"

namespace zelto {

// What a user types as a server's address, as one canonical secure address. No state, logs nothing. THREAD:
// any.
class ZeltoHostnameUtils {
 public:
  // "https://", the host and, unless it is 443, the port; all else is dropped, the typed scheme too. Letters
  // keep their case. The host is percent-encoded, so international names stay names, and an IPv6 literal,
  // whose brackets do not survive the encoding, is no address. ERRORS: nothing for an empty text, one that is
  // not UTF-8 or no URL by RFC 3986, and one without a host.
  static std::optional<NSURLComponents> validServerURLFromString(std::string_view string);
  // That address as text.
  static std::optional<std::string> sanitiseServerAddress(std::string_view address);
  static bool isValidServerAddress(std::string_view address);
  // "host" or "host:port" for display and for account keys, the host without escapes; "" of no valid address.
  static std::string userFriendlyServerAddress(std::string_view address);
};

}  // namespace zelto
