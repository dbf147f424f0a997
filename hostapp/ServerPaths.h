#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// The localised names of the three containers, from the bundle's string tables. Host application and
// extension must run in one language, since the names are parts of identifiers.
struct ContainerNames {
  std::string myFiles;
  std::string bookmarks;
  std::string offlineFiles;

  static ContainerNames ofMainBundle();
};

enum class ServerArea { root, myFiles, bookmarks, offlineFiles, server, bookmark, offline };

// What an identifier stands for.
struct ServerPath {
  ServerArea area = ServerArea::root;
  std::string name;  // bookmark, offline: the marked item's name
  // server: the path on the server; bookmark, offline: the path below the marked item, "" for itself
  std::string path;

  friend bool operator==(const ServerPath&, const ServerPath&) = default;
};

// Identifiers and what they stand for, while my files is on or off.
class ServerPaths {
 public:
  ServerPaths(ContainerNames names, bool useMyFiles) : names_(std::move(names)), useMyFiles_(useMyFiles) {}

  bool useMyFiles() const { return useMyFiles_; }
  // Nothing for what cannot be an identifier: relative, empty components, "." or "..", NUL, not UTF-8,
  // longer than 64 KiB; nothing for what lies nowhere while my files is on.
  std::optional<ServerPath> parse(const std::string& identifier) const;

  std::string myFilesIdentifier() const { return "/" + names_.myFiles; }
  std::string bookmarksIdentifier() const { return "/" + names_.bookmarks; }
  std::string offlineFilesIdentifier() const { return "/" + names_.offlineFiles; }
  // REQUIRES: a path of the server that is not "".
  std::string identifier(std::string_view path) const;
  // The identifier of the container that shows the shares.
  std::string sharesIdentifier() const;
  // What a symbolic link in the bookmarks container holds to reach the path inside the mounted volume.
  std::string linkTarget(std::string_view path) const;

 private:
  ContainerNames names_;
  bool useMyFiles_;
};

// A share is one level deep.
inline bool isSharePath(std::string_view path) { return path.find('/') == std::string_view::npos; }
// "a" and "b" give "a/b"; "" and "b" give "b".
std::string joinedPath(std::string_view folder, std::string_view name);
// Whether the path is the folder or lies below it.
bool liesIn(std::string_view path, std::string_view folder);

}  // namespace zelto
