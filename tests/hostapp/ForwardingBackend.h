#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hostapp/ServerBackend.h"

namespace zelto::test {

// Hands everything on to another backend: what a test changes about it, it overrides.
class ForwardingBackend : public ServerBackend {
 public:
  explicit ForwardingBackend(std::shared_ptr<ServerBackend> inner) : inner_(std::move(inner)) {}

  std::expected<BackendListing, NSError> list(const std::string& folder) override {
    return inner_->list(folder);
  }
  std::expected<BackendEntry, NSError> stat(const std::string& path) override { return inner_->stat(path); }
  std::expected<std::vector<std::optional<BackendEntry>>, NSError> statNames(
      const std::string& folder, const std::vector<std::string>& names) override {
    return inner_->statNames(folder, names);
  }
  std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) override {
    return inner_->open(path);
  }
  std::expected<std::unique_ptr<BackendWork>, NSError> upload(const UploadRequest& request) override {
    return inner_->upload(request);
  }
  std::expected<BackendEntry, NSError> createFolder(const std::string& path) override {
    return inner_->createFolder(path);
  }
  std::expected<std::unique_ptr<BackendWork>, NSError> remove(const std::string& path) override {
    return inner_->remove(path);
  }
  std::expected<BackendEntry, NSError> move(const std::string& path,
                                            const std::string& destination) override {
    return inner_->move(path, destination);
  }
  std::expected<std::unique_ptr<BackendWork>, NSError> moveByCopying(
      const std::string& path, const std::string& destination) override {
    return inner_->moveByCopying(path, destination);
  }
  std::shared_ptr<ShareRecords> records() override { return inner_->records(); }
  void setChangeHandler(std::function<void(FolderEvent)> handler) override {
    inner_->setChangeHandler(std::move(handler));
  }
  bool watch(const std::string& folder) override { return inner_->watch(folder); }
  void unwatch(const std::string& folder) override { inner_->unwatch(folder); }

 protected:
  const std::shared_ptr<ServerBackend> inner_;
};

}  // namespace zelto::test
