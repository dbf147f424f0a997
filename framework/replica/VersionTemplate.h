#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

// Versions of one domain's items differ in a few bytes. What is kept of one is how much of its beginning
// and end it shares with the template, the first version ever seen, and the bytes between.
class VersionTemplate {
 public:
  explicit VersionTemplate(std::string bytes) : bytes_(std::move(bytes)) {}

  const std::string& bytes() const { return bytes_; }

  // Appends the compact form.
  void encode(const NSFileProviderItemVersion& version, std::string& to) const;
  // The exact version; nothing for bytes that are no compact form of this template.
  std::optional<NSFileProviderItemVersion> decode(std::string_view compact) const;

 private:
  const std::string bytes_;
};

// A digest of both parts, never 0.
std::uint64_t versionTag(const NSFileProviderItemVersion& version);

}  // namespace zelto
