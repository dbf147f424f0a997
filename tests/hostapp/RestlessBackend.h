#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "hostapp/ServerBackend.h"

namespace zelto::test {

// A backend whose files change under the reader as often as it is told: each read makes the file another
// version.
class RestlessBackend : public ServerBackend {
 public:
  RestlessBackend(std::shared_ptr<ServerBackend> inner, int changes)
      : inner_(std::move(inner)), changes_(std::make_shared<std::atomic<int>>(changes)) {}

  std::expected<BackendListing, NSError> list(const std::string& folder) override {
    return inner_->list(folder);
  }
  std::expected<BackendEntry, NSError> stat(const std::string& path) override { return inner_->stat(path); }
  std::expected<std::vector<std::optional<BackendEntry>>, NSError> statNames(
      const std::string& folder, const std::vector<std::string>& names) override {
    return inner_->statNames(folder, names);
  }
  std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) override {
    ++opened;
    auto file = inner_->open(path);
    if (!file) return file;
    return std::make_unique<RestlessFile>(std::move(*file), changes_);
  }
  void setChangeHandler(std::function<void(FolderEvent)> handler) override {
    inner_->setChangeHandler(std::move(handler));
  }
  bool watch(const std::string& folder) override { return inner_->watch(folder); }
  void unwatch(const std::string& folder) override { inner_->unwatch(folder); }

  std::atomic<int> opened = 0;

 private:
  class RestlessFile : public BackendFile {
   public:
    RestlessFile(std::unique_ptr<BackendFile> inner, std::shared_ptr<std::atomic<int>> changes)
        : inner_(std::move(inner)), changes_(std::move(changes)) {}
    std::expected<BackendEntry, NSError> stat() override {
      auto found = inner_->stat();
      if (found) found->stat.changed.tv_sec += moved_;
      return found;
    }
    std::expected<std::size_t, NSError> readAt(std::span<std::byte> buffer, std::uint64_t offset) override {
      change();
      return inner_->readAt(buffer, offset);
    }
    std::expected<std::uint64_t, NSError> copyTo(int descriptor, std::uint64_t offset,
                                                 std::uint64_t length) override {
      change();
      return inner_->copyTo(descriptor, offset, length);
    }

   private:
    void change() {
      if (changes_->fetch_sub(1) > 0) ++moved_;
    }
    std::unique_ptr<BackendFile> inner_;
    std::shared_ptr<std::atomic<int>> changes_;
    int moved_ = 0;
  };

  std::shared_ptr<ServerBackend> inner_;
  std::shared_ptr<std::atomic<int>> changes_;
};

}  // namespace zelto::test
