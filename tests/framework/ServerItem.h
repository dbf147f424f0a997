#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/fileprovider/NSFileProviderItem.h"

namespace zelto::test {

// An item as the scripted server has it; its version is its date, as the real extension's is.
class ServerItem final : public NSFileProviderItem {
 public:
  ServerItem(const std::string& identifier, bool folder, std::optional<std::int64_t> size, double date)
      : identifier_(identifier), size_(size), date_(NSDate::since1970(date)) {
    const auto slash = identifier.rfind('/');
    parent_ = slash == 0 ? NSFileProviderRootContainerItemIdentifier : identifier.substr(0, slash);
    name_ = identifier.substr(slash + 1);
    type_ = folder ? UTType::folder() : *UTType::typeWithMIMEType("application/octet-stream");
    const auto bytes = NSData::copyOf(std::to_string(date));
    version_ = std::make_shared<NSFileProviderItemVersion>(NSFileProviderItemVersion{bytes, bytes});
  }

  const std::optional<std::string>& itemIdentifier() const override { return identifier_; }
  const std::optional<std::string>& parentItemIdentifier() const override { return parent_; }
  const std::optional<std::string>& filename() const override { return name_; }
  const std::optional<UTType>& contentType() const override { return type_; }
  NSFileProviderItemCapabilities capabilities() const override {
    return static_cast<NSFileProviderItemCapabilities>(239);
  }
  NSFileProviderFileSystemFlags fileSystemFlags() const override {
    return static_cast<NSFileProviderFileSystemFlags>(6);
  }
  std::optional<std::int64_t> documentSize() const override { return size_; }
  std::optional<NSDate> creationDate() const override { return date_; }
  std::optional<NSDate> contentModificationDate() override { return date_; }
  std::optional<NSDate> lastUsedDate() const override { return date_; }
  const NSDictionary* extendedAttributes() const override { return nullptr; }
  const std::optional<std::string>& symlinkTargetPath() const override { return target_; }
  std::optional<NSFileProviderContentPolicy> contentPolicy() const override { return std::nullopt; }
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion() override { return version_; }
  NSDictionary userInfo() const override { return {}; }

 private:
  std::optional<std::string> identifier_, parent_, name_, target_;
  std::optional<UTType> type_;
  std::optional<std::int64_t> size_;
  NSDate date_;
  std::shared_ptr<const NSFileProviderItemVersion> version_;
};

}  // namespace zelto::test
