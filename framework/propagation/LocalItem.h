#pragma once

#include <memory>
#include <string>

#include "framework/replica/LocalChange.h"
#include "platform/fileprovider/NSFileProviderItem.h"

namespace zelto {

// What a step wants of an item, in the form in which the extension is told of it.
class LocalItem final : public NSFileProviderItem {
 public:
  // A step without an identifier (a creation) gets the one that its place will have.
  LocalItem(const LocalStep& step, NSDictionary extendedAttributes);
  // The same under another identifier of the server.
  LocalItem(const LocalStep& step, std::string identifier, NSDictionary extendedAttributes);

  const std::optional<std::string>& itemIdentifier() const override { return identifier_; }
  const std::optional<std::string>& parentItemIdentifier() const override { return parent_; }
  const std::optional<std::string>& filename() const override { return name_; }
  const std::optional<UTType>& contentType() const override { return type_; }
  NSFileProviderItemCapabilities capabilities() const override { return node_.capabilities; }
  NSFileProviderFileSystemFlags fileSystemFlags() const override;
  std::optional<std::int64_t> documentSize() const override;
  std::optional<NSDate> creationDate() const override;
  std::optional<NSDate> contentModificationDate() override;
  std::optional<NSDate> lastUsedDate() const override;
  const NSDictionary* extendedAttributes() const override { return &attributes_; }
  const std::optional<std::string>& symlinkTargetPath() const override { return target_; }
  std::optional<NSFileProviderContentPolicy> contentPolicy() const override { return std::nullopt; }
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion() override { return version_; }
  NSDictionary userInfo() const override { return {}; }

 private:
  const NodeInfo node_;
  const std::optional<std::string> identifier_, parent_, name_;
  std::optional<std::string> target_;
  std::optional<UTType> type_;
  const NSDictionary attributes_;
  const std::shared_ptr<const NSFileProviderItemVersion> version_;
};

// The moment, exact to the date's precision.
NSDate dateForNanoseconds(std::int64_t sinceEpoch);

}  // namespace zelto
