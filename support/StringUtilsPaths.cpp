#include <algorithm>

#include "platform/foundation/NSString.h"
#include "platform/foundation/Path.h"
#include "support/StringUtils.h"

namespace zelto {

namespace {

constexpr std::string_view kAppExtension = "app";

}  // namespace

bool u_isInHierarchyOfPath(std::string_view receiver, std::string_view path) {
  const auto own = pathComponents(receiver);
  const auto above = pathComponents(path);
  return own.size() > above.size() && std::ranges::equal(above, std::span(own).first(above.size()));
}

std::string u_appPath(std::string_view receiver) {
  std::string path(receiver);
  do {
    if (pathExtension(path) == kAppExtension) return path;
    path = stringByDeletingLastPathComponent(path);
  } while (pathComponents(path).size() > 1);
  return pathExtension(path) == kAppExtension ? path : std::string(receiver);
}

std::string u_stringByAppendingPathComponents(std::string_view receiver,
                                              std::span<const std::string> components) {
  std::string path(receiver);
  for (const auto& component : components) path = stringByAppendingPathComponent(path, component);
  return path;
}

bool u_hasPathExtension(std::string_view receiver, std::span<const std::string> extensions) {
  const auto extension = lowercaseString(pathExtension(receiver));
  return !extension.empty() && std::ranges::find(extensions, extension) != extensions.end();
}

}  // namespace zelto
