#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <vector>

#include "model/FileProviderUtils.h"
#include "platform/foundation/Path.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {

using Fields = NSFileProviderItemFields;

constexpr Fields fieldsOf(std::uint64_t bits) { return static_cast<Fields>(bits); }

// An item as the framework hands one in.
class RequestItem final : public NSFileProviderItem {
 public:
  explicit RequestItem(const std::string& path)
      : identifier(path), parent(stringByDeletingLastPathComponent(path)), name(lastPathComponent(path)) {}

  std::optional<std::string> identifier, parent, name, target;
  std::optional<UTType> type = UTType::typeWithFilenameExtension("txt");
  std::optional<NSDate> created, modified, used;
  std::optional<NSDictionary> attributes;
  std::optional<NSData> tags;
  NSFileProviderFileSystemFlags flags{};
  NSFileProviderTypeAndCreator codes;

  const std::optional<std::string>& itemIdentifier() const override { return identifier; }
  const std::optional<std::string>& parentItemIdentifier() const override { return parent; }
  const std::optional<std::string>& filename() const override { return name; }
  const std::optional<UTType>& contentType() const override { return type; }
  NSFileProviderItemCapabilities capabilities() const override { return {}; }
  NSFileProviderFileSystemFlags fileSystemFlags() const override { return flags; }
  std::optional<std::int64_t> documentSize() const override { return std::nullopt; }
  std::optional<NSDate> creationDate() const override { return created; }
  std::optional<NSDate> contentModificationDate() override { return modified; }
  std::optional<NSDate> lastUsedDate() const override { return used; }
  const NSDictionary* extendedAttributes() const override { return attributes ? &*attributes : nullptr; }
  const std::optional<std::string>& symlinkTargetPath() const override { return target; }
  std::optional<NSFileProviderContentPolicy> contentPolicy() const override { return std::nullopt; }
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion() override { return nullptr; }
  NSDictionary userInfo() const override { return {}; }
  std::optional<NSData> tagData() const override { return tags; }
  NSFileProviderTypeAndCreator typeAndCreator() const override { return codes; }
};

inline std::shared_ptr<RequestItem> requestItem(const std::string& path) {
  return std::make_shared<RequestItem>(path);
}

struct ItemAnswer {
  NSFileProviderItemPtr item;
  Fields pending;
  bool fetchContent;
  std::optional<NSError> error;
};

// What one request was answered with, perhaps on another thread.
class ItemAnswers {
 public:
  static constexpr std::chrono::seconds kPatience{60};

  auto completion() {
    auto token = std::make_shared<int>();
    alive_ = token;
    return [this, token = std::move(token)](NSFileProviderItemPtr item, Fields pending, bool fetchContent,
                                            std::optional<NSError> error) {
      const std::lock_guard lock(mutex_);
      answers_.push_back({std::move(item), pending, fetchContent, std::move(error)});
      arrived_.notify_all();
    };
  }
  std::size_t count() const {
    const std::lock_guard lock(mutex_);
    return answers_.size();
  }
  bool arrivesWithin(std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, limit, [this] { return !answers_.empty(); });
  }
  // The only answer, once it has come.
  ItemAnswer only() const {
    EXPECT_TRUE(arrivesWithin(kPatience));
    const std::lock_guard lock(mutex_);
    EXPECT_EQ(1U, answers_.size());
    return answers_.at(0);
  }
  bool destroyed() const { return alive_.expired(); }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<ItemAnswer> answers_;
  std::weak_ptr<int> alive_;
};

// A local file or folder to hand over, in the test's own folder.
inline NSURL localFile(const std::string& folder, const std::string& name, const std::string& text) {
  const auto path = folder + "/" + name;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  writeFile(path, text);
  return NSURL::fileURL(path);
}

// From here on no temporary file can be made.
inline void loseGroupDirectory() {
  std::filesystem::remove_all(FileProviderUtils::urlForGroupDirectory()->path());
}

}  // namespace zelto::test
