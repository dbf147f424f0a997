#include "framework/replica/VersionTemplate.h"

#include <algorithm>
#include <cstring>

#include "framework/replica/ByteRecord.h"
#include "framework/replica/Digest.h"

namespace zelto {
namespace {

struct Difference {
  std::uint32_t prefix;
  std::uint32_t suffix;
  std::uint32_t middle;
};

std::size_t sharedPrefix(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t at = 0;
  while (at + 16 <= most && std::memcmp(a.data() + at, b.data() + at, 16) == 0) at += 16;
  while (at < most && a[at] == b[at]) ++at;
  return at;
}

std::size_t sharedSuffix(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t at = 0;
  const char* const endA = a.data() + a.size();
  const char* const endB = b.data() + b.size();
  while (at + 16 <= most && std::memcmp(endA - at - 16, endB - at - 16, 16) == 0) at += 16;
  while (at < most && a[a.size() - 1 - at] == b[b.size() - 1 - at]) ++at;
  return at;
}

void encodeAgainst(std::string_view base, std::string_view text, std::string& to) {
  const std::size_t prefix = sharedPrefix(base, text);
  const std::size_t suffix = sharedSuffix(base.substr(prefix), text.substr(prefix));
  const std::size_t middle = text.size() - prefix - suffix;
  putPlain(to, Difference{static_cast<std::uint32_t>(prefix), static_cast<std::uint32_t>(suffix),
                          static_cast<std::uint32_t>(middle)});
  to.append(text.substr(prefix, middle));
}

std::optional<std::string> decodeAgainst(std::string_view base, ByteReader& from) {
  const auto difference = from.plain<Difference>();
  const std::string_view middle = from.bytes(difference.middle);
  if (from.failed() || difference.prefix > base.size()) return {};
  if (difference.suffix > base.size() - difference.prefix) return {};
  std::string text(base.substr(0, difference.prefix));
  text.append(middle).append(base.substr(base.size() - difference.suffix));
  return text;
}

}  // namespace

void VersionTemplate::encode(const NSFileProviderItemVersion& version, std::string& to) const {
  encodeAgainst(bytes_, version.contentVersion.text(), to);
  if (version.metadataVersion == version.contentVersion) return;
  encodeAgainst(bytes_, version.metadataVersion.text(), to);
}

std::optional<NSFileProviderItemVersion> VersionTemplate::decode(std::string_view compact) const {
  ByteReader reader(compact);
  const auto content = decodeAgainst(bytes_, reader);
  if (!content) return {};
  NSFileProviderItemVersion version{NSData::copyOf(*content), {}};
  version.metadataVersion = version.contentVersion;
  if (reader.atEnd()) return version;
  const auto metadata = decodeAgainst(bytes_, reader);
  if (!metadata || !reader.atEnd()) return {};
  version.metadataVersion = NSData::copyOf(*metadata);
  return version;
}

std::uint64_t versionTag(const NSFileProviderItemVersion& version) {
  const std::uint64_t content = digestOfBytes(version.contentVersion.text());
  const std::uint64_t both = version.metadataVersion == version.contentVersion
                                 ? content
                                 : digestOfBytes(version.metadataVersion.text(), content);
  return both == 0 ? 1 : both;
}

}  // namespace zelto
