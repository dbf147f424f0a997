#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "tests/hostapp/ForwardingBackend.h"

namespace zelto::test {

// A backend whose files change under the reader as often as it is told: each read makes the file another
// version.
class RestlessBackend : public ForwardingBackend {
 public:
  RestlessBackend(std::shared_ptr<ServerBackend> inner, int changes)
      : ForwardingBackend(std::move(inner)), changes_(std::make_shared<std::atomic<int>>(changes)) {}

  std::expected<std::unique_ptr<BackendFile>, NSError> open(const std::string& path) override {
    ++opened;
    auto file = inner_->open(path);
    if (!file) return file;
    return std::make_unique<RestlessFile>(std::move(*file), changes_);
  }

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

  std::shared_ptr<std::atomic<int>> changes_;
};

}  // namespace zelto::test
