#pragma once

#include <memory>
#include <string>

#include "hostapp/BeneathFolder.h"
#include "hostapp/HiddenPlaces.h"
#include "hostapp/InotifyWatch.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// A folder of this machine whose subfolders are the shares. Sockets, pipes and devices are left out.
// A folder is "writable" when this user may make entries in it and at least one of its write bits is set (so
// a read-only share is made with chmod a-w, also for the superuser). A file follows the bits that concern
// this user (the owner's for the superuser), and is not writable in a folder that is not, since its content
// is replaced by renaming. What a killed process left half done is removed when the folder is listed, and at
// the next start where it was noted.
class LocalFolderBackend : public ServerBackend {
 public:
  // ERRORS: no such folder, or no right to it.
  static std::expected<std::shared_ptr<LocalFolderBackend>, NSError> serving(
      const std::string& folder, std::shared_ptr<HiddenPlaces> hidden = std::make_shared<HiddenPlaces>());
  // Removes what killed hosts have left in the folders that they noted.
  void removeWhatWasLeft();

  std::expected<BackendListing, NSError> list(const std::string& folder) override;
  std::expected<BackendEntry, NSError> stat(const std::string& path) override;
  std::expected<std::vector<std::optional<BackendEntry>>, NSError> statNames(
      const std::string& folder, const std::vector<std::string>& names) override;
  std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) override;
  std::expected<std::unique_ptr<BackendWork>, NSError> upload(const UploadRequest& request) override;
  std::expected<BackendEntry, NSError> createFolder(const std::string& path) override;
  std::expected<std::unique_ptr<BackendWork>, NSError> remove(const std::string& path) override;
  std::expected<BackendEntry, NSError> move(const std::string& path, const std::string& destination) override;
  std::expected<std::unique_ptr<BackendWork>, NSError> moveByCopying(const std::string& path,
                                                                     const std::string& destination) override;
  std::shared_ptr<ShareRecords> records() override { return records_; }
  void setChangeHandler(std::function<void(FolderEvent)> handler) override;
  bool watch(const std::string& folder) override;
  void unwatch(const std::string& folder) override;

 private:
  LocalFolderBackend(BeneathFolder root, std::shared_ptr<HiddenPlaces> hidden,
                     std::shared_ptr<ShareRecords> records)
      : root_(std::move(root)), hidden_(std::move(hidden)), records_(std::move(records)) {}
  // A folder that is served. ERRORS: errno values.
  std::expected<UniqueDescriptor, int> openFolder(const std::string& folder, int flags) const;
  // ERRORS: errno values.
  int removeWhatWasLeftIn(const std::string& folder);
  void sweep(int folder, const std::string& path, const std::vector<std::string>& names);

  BeneathFolder root_;
  const std::shared_ptr<HiddenPlaces> hidden_;
  const std::shared_ptr<ShareRecords> records_;
  std::unique_ptr<InotifyWatch> watch_;
};

}  // namespace zelto
