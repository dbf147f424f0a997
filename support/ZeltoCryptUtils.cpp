#include "support/ZeltoCryptUtils.h"

#include <span>

#include <fmt/format.h>

#include "platform/foundation/Base64.h"
#include "platform/foundation/CommonCrypto.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/Unicode.h"
#include "support/FileProviderLogger.h"
#include "support/ZeltoHostnameUtils.h"

namespace zelto {

namespace {

// What the platform's C strings keep of a text.
std::string_view upToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::nullopt_t warn(const std::string& message) {
  FileProviderLogger::instance().logWarn(message);
  return std::nullopt;
}

// The second of three parts; nothing where there are more or fewer.
std::optional<std::string_view> bodyOf(std::string_view token) {
  const auto first = token.find('.');
  if (first == std::string_view::npos) return std::nullopt;
  const auto second = token.find('.', first + 1);
  if (second == std::string_view::npos || token.find('.', second + 1) != std::string_view::npos) {
    return std::nullopt;
  }
  return token.substr(first + 1, second - first - 1);
}

std::optional<NSDictionary> claimsIn(const std::string& body) {
  const auto value = NSJSONSerialization::valueWithString(body);
  const auto* claims = value ? value->asDictionary() : nullptr;
  if (claims != nullptr) return *claims;
  FileProviderLogger::instance().logError(
      fmt::format("ZeltoCryptUtils: Failed to create jSON from authToken (Error={}) token='{}'",
                  value ? "(null)" : description(value.error()), body));
  return std::nullopt;
}

}  // namespace

std::string ZeltoCryptUtils::md5StringForString(std::string_view string) {
  return fmt::format("{:02x}", fmt::join(digestMD5(upToNul(string)), ""));
}

std::optional<std::string> ZeltoCryptUtils::accountKeyForUserId(const std::string& userId,
                                                                const std::string& serverAddress) {
  const auto address = ZeltoHostnameUtils::userFriendlyServerAddress(serverAddress);
  if (!userId.empty() && !address.empty()) {
    return fmt::format("{}@{}", lowercaseString(userId), lowercaseString(address));
  }
  return warn(fmt::format("ZeltoCryptUtils: Cannot create account key for userId='{}', server='{}'", userId,
                          serverAddress));
}

std::string ZeltoCryptUtils::base64HMACWithString(std::string_view string, std::string_view key) {
  return base64Encoded(textOf(hmacSHA256(upToNul(key), upToNul(string))));
}

std::optional<NSDictionary> ZeltoCryptUtils::dictionaryForAuthToken(const std::string& token) {
  const auto body = bodyOf(token);
  if (!body) return warn(fmt::format("ZeltoCryptUtils: Invalid auth token '{}'", token));
  if (body->empty()) return warn(fmt::format("ZeltoCryptUtils: Empty body for auth token '{}'", token));
  const auto decoded = base64Decode(*body);
  if (!decoded || decoded->empty()) {
    return warn(fmt::format("ZeltoCryptUtils: Failed to decode auth token body '{}'", *body));
  }
  return claimsIn(*decoded);
}

std::string ZeltoCryptUtils::base64Encode(std::string_view string) { return base64Encoded(string); }

std::optional<std::string> ZeltoCryptUtils::base64Decode(std::string_view string) {
  auto decoded = base64Decoded(string);
  return decoded && isValidUTF8(*decoded) ? std::move(decoded) : std::nullopt;
}

}  // namespace zelto
