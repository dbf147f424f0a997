#include "platform/foundation/Path.h"

namespace zelto {
namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

// The last component as a part of the path; "/" for the root.
std::string_view lastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos || path == "/" ? path : path.substr(slash + 1);
}

}  // namespace

std::vector<std::string> pathComponents(std::string_view path) {
  std::vector<std::string> components;
  if (path.starts_with('/')) components.emplace_back("/");
  std::size_t start = 0;
  while ((start = path.find_first_not_of('/', start)) != std::string_view::npos) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    components.emplace_back(path.substr(start, end - start));
    start = end;
  }
  return components;
}

std::string stringByDeletingLastPathComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return std::string(withoutTrailingSlashes(path.substr(0, slash == 0 ? 1 : slash)));
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
  component.remove_prefix(std::min(component.find_first_not_of('/'), component.size()));
  component = withoutTrailingSlashes(component);
  std::string joined(withoutTrailingSlashes(path));
  if (!joined.empty() && !joined.ends_with('/') && !component.empty()) joined += '/';
  return joined.append(component);
}

std::string lastPathComponent(std::string_view path) { return std::string(lastComponent(path)); }

std::string pathExtension(std::string_view path) {
  const std::string_view name = lastComponent(path);
  const auto dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string() : std::string(name.substr(dot + 1));
}

}  // namespace zelto
