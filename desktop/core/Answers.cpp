#include "desktop/core/Answers.h"

#include "desktop/core/GlibHandles.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::desktop {
namespace {

std::string text(const NSDictionary& entry, std::string_view key) {
  const PropertyListValue* const value = entry.find(key);
  const std::string* const found = value != nullptr ? value->asString() : nullptr;
  return found != nullptr ? *found : std::string();
}

bool flag(const NSDictionary& entry, std::string_view key) {
  const PropertyListValue* const value = entry.find(key);
  const bool* const found = value != nullptr ? value->asBoolean() : nullptr;
  return found != nullptr && *found;
}

std::vector<std::string> texts(const NSDictionary& entry, std::string_view key) {
  std::vector<std::string> all;
  const PropertyListValue* const value = entry.find(key);
  const NSArray* const array = value != nullptr ? value->asArray() : nullptr;
  if (array == nullptr) return all;
  for (const PropertyListValue& element : *array) {
    if (const std::string* const found = element.asString()) all.push_back(*found);
  }
  return all;
}

// The platform's own decoding refuses bytes that are not UTF-8; names may have them.
std::string decoded(const std::string& path) {
  GBytes* const bytes = g_uri_unescape_bytes(path.data(), static_cast<gssize>(path.size()), nullptr, nullptr);
  if (bytes == nullptr) return {};
  gsize size = 0;
  const void* const data = g_bytes_get_data(bytes, &size);
  std::string result(static_cast<const char*>(data), size);
  g_bytes_unref(bytes);
  return result;
}

ItemState stateOf(const NSDictionary& entry) {
  return {flag(entry, "known"), texts(entry, "decorations"), texts(entry, "actions"),
          text(entry, "state"), text(entry, "reason"),       text(entry, "materialised")};
}

// What `read` makes of each object of the array; it gives nothing for one that is to be left out.
template <typename Element>
std::optional<std::vector<Element>> elements(std::string_view json,
                                             std::optional<Element> (*read)(const NSDictionary&)) {
  const auto value = NSJSONSerialization::valueWithString(json);
  const NSArray* const array = value ? value->asArray() : nullptr;
  if (array == nullptr) return std::nullopt;
  std::vector<Element> all;
  all.reserve(array->size());
  for (const PropertyListValue& element : *array) {
    const NSDictionary* const entry = element.asDictionary();
    if (entry == nullptr) continue;
    if (std::optional<Element> made = read(*entry)) all.push_back(std::move(*made));
  }
  return all;
}

}  // namespace

std::optional<std::string> mountPointOf(std::string_view json) {
  const auto value = NSJSONSerialization::valueWithString(json);
  const NSDictionary* const status = value ? value->asDictionary() : nullptr;
  if (status == nullptr) return std::nullopt;
  std::string mountPoint = text(*status, "mountPoint");
  while (mountPoint.ends_with('/')) mountPoint.pop_back();
  if (!mountPoint.starts_with('/')) return std::nullopt;
  return mountPoint;
}

std::optional<std::vector<PathState>> statesOf(std::string_view json) {
  return elements<PathState>(json, [](const NSDictionary& entry) -> std::optional<PathState> {
    std::string path = decoded(text(entry, "path"));
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    if (!path.starts_with('/') || path.contains('\0')) return std::nullopt;
    return PathState{std::move(path), stateOf(entry)};
  });
}

std::optional<std::vector<Action>> actionsOf(std::string_view json) {
  return elements<Action>(json, [](const NSDictionary& entry) -> std::optional<Action> {
    Action action{text(entry, "identifier"), text(entry, "title")};
    if (action.identifier.empty() || action.title.empty()) return std::nullopt;
    return action;
  });
}

std::optional<std::vector<Badge>> badgesOf(std::string_view json) {
  return elements<Badge>(json, [](const NSDictionary& entry) -> std::optional<Badge> {
    Badge badge{text(entry, "identifier"), text(entry, "label")};
    if (badge.identifier.empty()) return std::nullopt;
    return badge;
  });
}

}  // namespace zelto::desktop
