#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/fileprovider/NSFileProviderItem.h"

namespace zelto {

// What the extension is to make: a name in a folder, and of what type. A file is never of a type that folders
// can have too, as its name alone may suggest ("a.app").
class ImportItem final : public NSFileProviderItem {
 public:
  ImportItem(const std::string& parent, const std::string& name, std::optional<std::uint64_t> size)
      : identifier_(parent + "/" + name), parent_(parent), name_(name), type_(typeOf(name, !size)) {
    if (size) size_ = static_cast<std::int64_t>(*size);
  }

  const std::optional<std::string>& itemIdentifier() const override { return identifier_; }
  const std::optional<std::string>& parentItemIdentifier() const override { return parent_; }
  const std::optional<std::string>& filename() const override { return name_; }
  const std::optional<UTType>& contentType() const override { return type_; }
  NSFileProviderItemCapabilities capabilities() const override {
    return NSFileProviderItemCapabilities::none;
  }
  NSFileProviderFileSystemFlags fileSystemFlags() const override {
    return NSFileProviderFileSystemFlags::none;
  }
  std::optional<std::int64_t> documentSize() const override { return size_; }
  std::optional<NSDate> creationDate() const override { return std::nullopt; }
  std::optional<NSDate> contentModificationDate() override { return std::nullopt; }
  std::optional<NSDate> lastUsedDate() const override { return std::nullopt; }
  const NSDictionary* extendedAttributes() const override { return nullptr; }
  const std::optional<std::string>& symlinkTargetPath() const override { return target_; }
  std::optional<NSFileProviderContentPolicy> contentPolicy() const override { return std::nullopt; }
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion() override {
    return std::make_shared<const NSFileProviderItemVersion>();
  }
  NSDictionary userInfo() const override { return {}; }

 private:
  static std::optional<UTType> typeOf(const std::string& name, bool folder) {
    if (folder) return UTType::folder();
    auto type = UTType::typeWithMIMEType(mimeTypeForFilename(name));
    return type && type->conformsTo(UTType::directory()) ? std::nullopt : type;
  }

  const std::optional<std::string> identifier_, parent_, name_, target_;
  const std::optional<UTType> type_;
  std::optional<std::int64_t> size_;
};

}  // namespace zelto
