#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hostapp/HostStore.h"

namespace zelto {

// Where a folder has been shown: below the shares, below a bookmark, below an offline item, or nowhere
// (it is only watched for the sake of an entry). No view holds a slash.
inline constexpr std::string_view kServerView = "S";
inline constexpr std::string_view kNoView = "N";
inline std::string bookmarkView(std::string_view name) { return "B" + std::string(name); }
inline std::string offlineView(std::string_view name) { return "O" + std::string(name); }

struct KnownFolder {
  StoredFolder stored;
  std::uint64_t listing = 0;  // the number of the listing that the snapshot is from
  bool watched = false;

  void addView(const std::string& view);
};

// The folders that have been listed, by path.
class KnownFolders {
 public:
  KnownFolder* find(const std::string& path);
  KnownFolder& add(const std::string& path);
  // Removes the folder and all below it; returns their paths.
  std::vector<std::string> remove(const std::string& path);
  // The folder and all below it go on under the new path; returns their old and new paths. REQUIRES: nothing
  // is known at or below the new path.
  std::vector<std::pair<std::string, std::string>> rename(const std::string& from, const std::string& to);
  std::vector<std::string> paths() const;
  std::size_t size() const { return folders_.size(); }
  std::size_t unwatched() const;
  // Takes the view from every folder; returns the folders that were shown nowhere else.
  std::vector<std::string> dropView(const std::string& view);

 private:
  std::map<std::string, KnownFolder> folders_;
};

}  // namespace zelto
