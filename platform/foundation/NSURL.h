#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"

namespace zelto {

// A file URL. Paths are byte strings: they need not be UTF-8.
class NSURL {
 public:
  static NSURL fileURL(std::string path) { return NSURL(std::move(path)); }
  // "file:///…" with percent encoding, by RFC 3986.
  // ERRORS: anything that is not a file URL of this machine with an absolute path.
  static std::expected<NSURL, NSError> fromString(std::string_view text);

  const std::string& path() const { return path_; }
  std::string absoluteString() const;
  NSURL appendingPathComponent(std::string_view component) const;

  friend bool operator==(const NSURL&, const NSURL&) = default;

 private:
  explicit NSURL(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

}  // namespace zelto
