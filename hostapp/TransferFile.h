#pragma once

#include <expected>
#include <memory>
#include <string>

#include "hostapp/HostStore.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// A new file in the group directory, named by a UUID. Until it has been handed over its name is kept in
// the store, so that the next run removes what this one leaves behind.
class TransferFile {
 public:
  // ERRORS: no space, no right.
  static std::expected<TransferFile, NSError> make(const std::string& directory,
                                                   std::shared_ptr<HostStore> store);
  TransferFile(TransferFile&&) = default;
  TransferFile& operator=(TransferFile&&) = delete;
  // Removes the file unless it was handed over.
  ~TransferFile();

  int descriptor() const { return descriptor_.get(); }
  NSURL url() const { return NSURL::fileURL(directory_ + "/" + name_); }
  void close() { descriptor_.reset(); }
  // The receiver owns the file from now on.
  void handedOver();

 private:
  TransferFile(std::string directory, std::string name, std::shared_ptr<HostStore> store)
      : directory_(std::move(directory)), name_(std::move(name)), store_(std::move(store)) {}

  std::string directory_;
  std::string name_;
  std::shared_ptr<HostStore> store_;  // null once there is nothing left to do
  UniqueDescriptor descriptor_;
};

// Removes what an earlier run of this host left in the directory, and nothing else.
void removeLeftTransfers(const std::string& directory, HostStore& store);

}  // namespace zelto
