#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// A URL of any scheme, taken apart by RFC 3986. A value.
class NSURLComponents {
 public:
  // ERRORS: nothing for what is no URL (nor a relative one), for an escaped host that is not UTF-8, for a
  // port beyond 64 bits, and for a text of more than 64 KiB. THREAD: any.
  static std::optional<NSURLComponents> fromString(std::string_view text);

  // The text that was parsed.
  const std::string& absoluteString() const { return text_; }
  // Each is nothing where the URL has none; a host may be there and empty.
  const std::optional<std::string>& scheme() const { return scheme_; }
  // Without escapes, and without the brackets of an IPv6 literal.
  const std::optional<std::string>& host() const { return host_; }
  std::optional<std::int64_t> port() const { return port_; }

  friend bool operator==(const NSURLComponents& a, const NSURLComponents& b) { return a.text_ == b.text_; }

 private:
  NSURLComponents() = default;

  std::string text_;
  std::optional<std::string> scheme_;
  std::optional<std::string> host_;
  std::optional<std::int64_t> port_;
};

}  // namespace zelto
