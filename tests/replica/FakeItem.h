#pragma once

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/fileprovider/NSFileProviderItem.h"
#include "platform/foundation/Path.h"

namespace zelto {

// An item with every field open to the test.
class FakeItem : public NSFileProviderItem {
 public:
  std::optional<std::string> identifierField, parentField, nameField, targetField;
  std::optional<UTType> typeField;
  std::optional<std::int64_t> sizeField;
  double modifiedField = 1700000000.25;
  std::optional<double> createdField, usedField;
  std::uint64_t stampField = 0;  // what the version is made of
  NSDictionary attributesField, userInfoField;
  std::vector<std::string> decorationsField;
  NSFileProviderItemCapabilities capabilitiesField{239};
  NSFileProviderFileSystemFlags flagsField{6};

  const std::optional<std::string>& itemIdentifier() const override { return identifierField; }
  const std::optional<std::string>& parentItemIdentifier() const override { return parentField; }
  const std::optional<std::string>& filename() const override { return nameField; }
  const std::optional<UTType>& contentType() const override { return typeField; }
  NSFileProviderItemCapabilities capabilities() const override { return capabilitiesField; }
  NSFileProviderFileSystemFlags fileSystemFlags() const override { return flagsField; }
  std::optional<std::int64_t> documentSize() const override { return sizeField; }
  std::optional<NSDate> creationDate() const override { return date(createdField.value_or(modifiedField)); }
  std::optional<NSDate> contentModificationDate() override { return date(modifiedField); }
  std::optional<NSDate> lastUsedDate() const override { return date(usedField.value_or(modifiedField)); }
  const NSDictionary* extendedAttributes() const override {
    return attributesField.empty() ? nullptr : &attributesField;
  }
  const std::optional<std::string>& symlinkTargetPath() const override { return targetField; }
  std::optional<NSFileProviderContentPolicy> contentPolicy() const override { return {}; }
  std::shared_ptr<const NSFileProviderItemVersion> itemVersion() override {
    if (!version_) version_ = std::make_shared<const NSFileProviderItemVersion>(versionOf(stampField));
    return version_;
  }
  NSDictionary userInfo() const override { return userInfoField; }
  std::vector<std::string> decorations() const override { return decorationsField; }

  // Its identifier is its path.
  void placeAt(const std::string& path) {
    const auto parent = stringByDeletingLastPathComponent(path);
    identifierField = path;
    parentField = parent == "/" ? NSFileProviderRootContainerItemIdentifier : parent;
    nameField = lastPathComponent(path);
  }
  // Like an archive of a date: long, and different in eight bytes only.
  static NSFileProviderItemVersion versionOf(std::uint64_t stamp) {
    std::string bytes = "archive:" + std::string(120, 'a') + "????????" + std::string(90, 'z');
    std::memcpy(bytes.data() + 128, &stamp, sizeof stamp);
    const NSData data = NSData::copyOf(bytes);
    return {data, data};
  }

 private:
  static std::optional<NSDate> date(double seconds) { return NSDate::since1970(seconds); }

  std::shared_ptr<const NSFileProviderItemVersion> version_;
};

using FakeItemPtr = std::shared_ptr<FakeItem>;

// An item whose identifier is its path. `parent` is "" for the root.
inline FakeItemPtr fakeItem(const std::string& parent, const std::string& name) {
  auto item = std::make_shared<FakeItem>();
  item->identifierField = parent + "/" + name;
  item->parentField = parent.empty() ? NSFileProviderRootContainerItemIdentifier : parent;
  item->nameField = name;
  return item;
}

inline FakeItemPtr fakeFile(const std::string& parent, const std::string& name, std::int64_t size = 10,
                            std::uint64_t stamp = 1) {
  auto item = fakeItem(parent, name);
  item->sizeField = size;
  item->stampField = stamp;
  return item;
}

inline FakeItemPtr fakeFolder(const std::string& parent, const std::string& name) {
  auto item = fakeItem(parent, name);
  item->typeField = UTType::folder();
  return item;
}

inline FakeItemPtr fakeLink(const std::string& parent, const std::string& name, const std::string& target) {
  auto item = fakeItem(parent, name);
  item->typeField = UTType::symbolicLink();
  item->targetField = target;
  return item;
}

using Items = std::vector<NSFileProviderItemPtr>;

inline Items fakeFiles(const std::string& parent, const std::string& stem, int count) {
  Items items;
  for (int i = 0; i < count; ++i) items.push_back(fakeFile(parent, stem + std::to_string(i)));
  return items;
}

}  // namespace zelto
