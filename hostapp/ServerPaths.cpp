#include "hostapp/ServerPaths.h"

#include "hostapp/BeneathFolder.h"
#include "platform/fileprovider/NSFileProviderTypes.h"
#include "platform/foundation/Unicode.h"

namespace zelto {

namespace {

constexpr std::size_t kLongestIdentifier = 64 * 1024;

// The first component and what follows it, without the slash between.
std::pair<std::string, std::string> takenApart(std::string_view path) {
  const auto slash = path.find('/');
  if (slash == std::string_view::npos) return {std::string(path), ""};
  return {std::string(path.substr(0, slash)), std::string(path.substr(slash + 1))};
}

std::optional<ServerPath> marked(ServerArea container, ServerArea item, const std::string& rest) {
  if (rest.empty()) return ServerPath{container, "", ""};
  auto [name, path] = takenApart(rest);
  return ServerPath{item, std::move(name), std::move(path)};
}

}  // namespace

std::string joinedPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + name.size() + 1);
  path.append(folder);
  if (!folder.empty() && !name.empty()) path.push_back('/');
  path.append(name);
  return path;
}

bool liesIn(std::string_view path, std::string_view folder) {
  if (folder.empty()) return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::optional<ServerPath> ServerPaths::parse(const std::string& identifier) const {
  if (identifier == "/" || identifier == NSFileProviderRootContainerItemIdentifier) return ServerPath{};
  if (identifier.size() > kLongestIdentifier || !identifier.starts_with('/')) return std::nullopt;
  const auto path = std::string_view(identifier).substr(1);
  if (!isRelativePath(path) || !isValidUTF8(path)) return std::nullopt;
  auto [first, rest] = takenApart(path);
  if (first == names_.bookmarks) return marked(ServerArea::bookmarks, ServerArea::bookmark, rest);
  if (first == names_.offlineFiles) return marked(ServerArea::offlineFiles, ServerArea::offline, rest);
  if (first == names_.myFiles && rest.empty()) return ServerPath{ServerArea::myFiles, "", ""};
  if (!useMyFiles_) return ServerPath{ServerArea::server, "", std::string(path)};
  if (first != names_.myFiles) return std::nullopt;
  return ServerPath{ServerArea::server, "", std::move(rest)};
}

std::string ServerPaths::identifier(std::string_view path) const {
  return (useMyFiles_ ? myFilesIdentifier() : "") + "/" + std::string(path);
}

std::string ServerPaths::sharesIdentifier() const {
  return useMyFiles_ ? myFilesIdentifier() : NSFileProviderRootContainerItemIdentifier;
}

std::string ServerPaths::linkTarget(std::string_view path) const { return ".." + identifier(path); }

}  // namespace zelto
