#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "hostapp/ServerBackend.h"

namespace zelto::test {

// A backend whose events the test makes itself, and which may refuse to watch.
class DeafBackend : public ServerBackend {
 public:
  explicit DeafBackend(std::shared_ptr<ServerBackend> inner) : inner_(std::move(inner)) {}

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
  void setChangeHandler(std::function<void(FolderEvent)> handler) override { emit = std::move(handler); }
  bool watch(const std::string&) override { return watches; }
  void unwatch(const std::string&) override {}

  std::atomic<bool> watches = true;
  std::function<void(FolderEvent)> emit;

 private:
  std::shared_ptr<ServerBackend> inner_;
};

}  // namespace zelto::test
