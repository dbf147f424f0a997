#include "support/ZeltoHostnameUtils.h"

#include <fmt/format.h>

#include "platform/foundation/NSCharacterSet.h"
#include "platform/foundation/PercentEncoding.h"

namespace zelto {

namespace {

constexpr std::int64_t kDefaultPort = 443;
constexpr std::string_view kScheme = "https://";

std::optional<std::string> encoded(std::string_view text) {
  return stringByAddingPercentEncoding(text, NSCharacterSet::URLFragmentAllowedCharacterSet());
}

bool hasHost(const NSURLComponents& url) {
  return url.host() && !url.host()->empty() && !url.host()->starts_with(':');
}

}  // namespace

std::optional<NSURLComponents> ZeltoHostnameUtils::validServerURLFromString(std::string_view string) {
  const auto typed = NSCharacterSet::whitespaceCharacterSet().trimmed(string);
  auto text = typed.empty() ? std::nullopt : encoded(typed);
  if (!text) return std::nullopt;
  if (!text->contains("://")) text->insert(0, kScheme);
  const auto url = NSURLComponents::fromString(*text);
  const auto host = url && hasHost(*url) ? encoded(*url->host()) : std::nullopt;
  if (!host) return std::nullopt;
  auto canonical = fmt::format("{}{}", kScheme, *host);
  if (url->port() && url->port() != kDefaultPort) canonical += fmt::format(":{}", *url->port());
  return NSURLComponents::fromString(canonical);
}

std::optional<std::string> ZeltoHostnameUtils::sanitiseServerAddress(std::string_view address) {
  const auto url = validServerURLFromString(address);
  return url ? std::optional(url->absoluteString()) : std::nullopt;
}

bool ZeltoHostnameUtils::isValidServerAddress(std::string_view address) {
  return !address.empty() && !sanitiseServerAddress(address).value_or("").empty();
}

std::string ZeltoHostnameUtils::userFriendlyServerAddress(std::string_view address) {
  const auto url = validServerURLFromString(address);
  if (!url) return {};
  const auto& host = url->host().value();
  return url->port() ? fmt::format("{}:{}", host, *url->port()) : host;
}

}  // namespace zelto
