#pragma once

#include <memory>
#include <string>

#include "hostapp/BeneathFolder.h"
#include "hostapp/InotifyWatch.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// A folder of this machine whose subfolders are the shares. Sockets, pipes and devices are left out.
// "writable" follows the permission bits that concern this user (the owner's for the superuser) and is
// false everywhere on a read-only volume; a file in a folder that is not writable is not writable either,
// since its content is replaced by renaming.
class LocalFolderBackend : public ServerBackend {
 public:
  // ERRORS: no such folder, or no right to it.
  static std::expected<std::shared_ptr<LocalFolderBackend>, NSError> serving(const std::string& folder);

  std::expected<BackendListing, NSError> list(const std::string& folder) override;
  std::expected<BackendEntry, NSError> stat(const std::string& path) override;
  std::expected<std::vector<std::optional<BackendEntry>>, NSError> statNames(
      const std::string& folder, const std::vector<std::string>& names) override;
  std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) override;
  void setChangeHandler(std::function<void(FolderEvent)> handler) override;
  bool watch(const std::string& folder) override;
  void unwatch(const std::string& folder) override;

 private:
  explicit LocalFolderBackend(BeneathFolder root) : root_(std::move(root)) {}

  BeneathFolder root_;
  std::unique_ptr<InotifyWatch> watch_;
};

}  // namespace zelto
