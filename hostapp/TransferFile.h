#pragma once

#include <expected>
#include <memory>
#include <string>
#include <utility>

#include "platform/foundation/NSURL.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// A new file, named by a UUID, in this host's own folder of the group directory. What lies there at a
// start was left behind by an earlier run.
class TransferFile {
 public:
  // ERRORS: no space, no right.
  static std::expected<TransferFile, NSError> make(const std::string& directory);
  // A file of the group directory becomes this host's, under a new name in its own folder: one rename, so
  // that it is known from then on, also to the next run. ERRORS: not in the group directory, gone.
  static std::expected<TransferFile, NSError> take(const std::string& directory, const NSURL& url);
  TransferFile(TransferFile&& other) noexcept
      : directory_(std::move(other.directory_)),
        name_(std::exchange(other.name_, {})),
        descriptor_(std::move(other.descriptor_)) {}
  TransferFile& operator=(TransferFile&&) = delete;
  // Removes the file unless it was handed over.
  ~TransferFile();

  int descriptor() const { return descriptor_.get(); }
  NSURL url() const { return NSURL::fileURL(directory_ + "/" + name_); }
  void close() { descriptor_.reset(); }
  // The receiver owns the file from now on.
  void handedOver() { name_.clear(); }

 private:
  TransferFile(std::string directory, std::string name)
      : directory_(std::move(directory)), name_(std::move(name)) {}

  std::string directory_;
  std::string name_;  // "" once there is nothing left to do
  UniqueDescriptor descriptor_;
};

// Makes the folder, and removes what an earlier run of this host left in it.
void prepareTransferFolder(const std::string& directory);

}  // namespace zelto
