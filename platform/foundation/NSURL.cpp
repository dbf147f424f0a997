#include "platform/foundation/NSURL.h"

#include <filesystem>
#include <optional>

#include <fmt/format.h>
#include <strings.h>

#include "platform/foundation/ParsedUri.h"
#include "platform/foundation/Path.h"

namespace zelto {
namespace {

constexpr int kFileReadInvalidFileNameError = 258;

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool isFileUrlOfThisMachine(const UriUriA& uri) {
  const std::string_view host = textOf(uri.hostText);
  return equalsIgnoringCase(textOf(uri.scheme), "file") &&
         (host.empty() || equalsIgnoringCase(host, "localhost")) && uri.userInfo.first == nullptr &&
         uri.portText.first == nullptr && uri.query.first == nullptr && uri.fragment.first == nullptr;
}

// Nothing for a segment that no file can be named.
std::optional<std::string> unescaped(std::string_view segment) {
  std::string text(segment);
  const char* const end = uriUnescapeInPlaceExA(text.data(), URI_FALSE, URI_BR_DONT_TOUCH);
  text.resize(static_cast<std::size_t>(end - text.data()));
  if (text.find('/') != std::string::npos || text.find('\0') != std::string::npos) return std::nullopt;
  return text;
}

std::optional<std::string> pathOf(const UriUriA& uri) {
  std::string path;
  for (const auto* segment = uri.pathHead; segment != nullptr; segment = segment->next) {
    const auto name = unescaped(textOf(segment->text));
    if (!name) return std::nullopt;
    path += '/' + *name;
  }
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

}  // namespace

std::expected<NSURL, NSError> NSURL::fromString(std::string_view text) {
  ParsedUri parsed;
  std::optional<std::string> path;
  const bool rooted = text.find(":/") != std::string_view::npos;
  if (rooted && parsed.parse(text) && isFileUrlOfThisMachine(parsed.uri)) path = pathOf(parsed.uri);
  if (path && path->starts_with('/')) return NSURL(std::move(*path));
  return std::unexpected(
      NSError(NSCocoaErrorDomain, kFileReadInvalidFileNameError,
              {{NSLocalizedDescriptionKey, fmt::format("“{}” is not the URL of a file here.", text)}}));
}

std::string NSURL::absoluteString() const {
  std::string path = path_;
  if (!path.starts_with('/')) {
    std::error_code ignored;
    path = stringByAppendingPathComponent(std::filesystem::current_path(ignored).native(), path);
  }
  constexpr std::size_t kLongestEscape = 3;
  std::string text(std::string_view("file://").size() + kLongestEscape * path.size() + 1, '\0');
  uriUnixFilenameToUriStringA(path.c_str(), text.data());
  text.resize(text.find('\0'));
  return text;
}

NSURL NSURL::appendingPathComponent(std::string_view component) const {
  return NSURL(stringByAppendingPathComponent(path_, component));
}

}  // namespace zelto
