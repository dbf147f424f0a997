#pragma once

#include <memory>
#include <string>

#include "hostapp/Checkouts.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// A server with its check-outs: every file says who has it, what another user has checked out cannot be
// written, replaced, moved or removed, and what this user has checked out keeps that under its new path.
// THREAD, BLOCKS, ERRORS: as of any backend.
class CheckoutBackend : public ServerBackend {
 public:
  CheckoutBackend(std::shared_ptr<ServerBackend> inner, std::shared_ptr<Checkouts> checkouts)
      : inner_(std::move(inner)), checkouts_(std::move(checkouts)) {}

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
  std::shared_ptr<ShareRecords> records() override { return inner_->records(); }
  void setChangeHandler(std::function<void(FolderEvent)> handler) override;
  bool watch(const std::string& folder) override { return inner_->watch(folder); }
  void unwatch(const std::string& folder) override { inner_->unwatch(folder); }

 private:
  const std::shared_ptr<ServerBackend> inner_;
  const std::shared_ptr<Checkouts> checkouts_;
};

// What the check-out, if any, makes of an entry.
void showCheckout(BackendEntry& entry, const std::optional<Checkout>& checkout);

}  // namespace zelto
