#include "model/FileProviderItem.h"

#include <mutex>

#include <fmt/format.h>

#include "model/FileProviderUtils.h"

namespace zelto {

struct FileProviderItem::Rare {
  std::optional<std::string> symlinkTargetPath;
  std::optional<std::string> checkoutLabel;
  // A dictionary value: shared with the host's reply that it came in.
  std::optional<PropertyListValue> extendedAttributes;
};

namespace {

const std::optional<std::string> kNoText;

// Guards the fields of every item that change once it is shared: two are filled in on first reading, and the
// last used date. One lock for all items, since a lock of its own would cost each more than what it guards.
std::mutex& lazyFieldsMutex() {
  static auto* const mutex = new std::mutex();
  return *mutex;
}

}  // namespace

FileProviderItem::FileProviderItem() = default;
FileProviderItem::~FileProviderItem() = default;

FileProviderItem::Rare& FileProviderItem::rare() {
  if (!rare_) rare_ = std::make_unique<Rare>();
  return *rare_;
}

std::optional<NSDate> FileProviderItem::contentModificationDate() {
  const std::lock_guard lock(lazyFieldsMutex());
  if (!contentModificationDate_) contentModificationDate_ = NSDate::now();
  return contentModificationDate_;
}

void FileProviderItem::setContentModificationDate(std::optional<NSDate> date) {
  const std::lock_guard lock(lazyFieldsMutex());
  contentModificationDate_ = date;
}

void FileProviderItem::setDates(std::optional<NSDate> date) {
  creationDate_ = date;
  contentModificationDate_ = date;
  lastUsedDate_ = date;
}

void FileProviderItem::updateModifiedDate(std::optional<NSDate> date) {
  setContentModificationDate(date);
  updateLastUsedDate(date);
}

std::optional<NSDate> FileProviderItem::lastUsedDate() const {
  const std::lock_guard lock(lazyFieldsMutex());
  return lastUsedDate_;
}

void FileProviderItem::updateLastUsedDate(std::optional<NSDate> date) {
  const std::lock_guard lock(lazyFieldsMutex());
  lastUsedDate_ = date;
}

std::shared_ptr<const NSFileProviderItemVersion> FileProviderItem::itemVersion() {
  {
    const std::lock_guard lock(lazyFieldsMutex());
    if (itemVersion_) return itemVersion_;
  }
  auto version = FileProviderUtils::versionForItem(*this);
  const std::lock_guard lock(lazyFieldsMutex());
  if (!itemVersion_) itemVersion_ = std::move(version);
  return itemVersion_;
}

void FileProviderItem::setItemVersion(std::shared_ptr<const NSFileProviderItemVersion> version) {
  const std::lock_guard lock(lazyFieldsMutex());
  itemVersion_ = std::move(version);
}

const NSDictionary* FileProviderItem::extendedAttributes() const {
  return rare_ && rare_->extendedAttributes ? rare_->extendedAttributes->asDictionary() : nullptr;
}

void FileProviderItem::setExtendedAttributes(const PropertyListValue& attributes) {
  rare().extendedAttributes = attributes;
}

const std::optional<std::string>& FileProviderItem::symlinkTargetPath() const {
  return rare_ ? rare_->symlinkTargetPath : kNoText;
}

void FileProviderItem::setSymlinkTargetPath(std::optional<std::string> path) {
  rare().symlinkTargetPath = std::move(path);
}

const std::optional<std::string>& FileProviderItem::checkoutLabel() const {
  return rare_ ? rare_->checkoutLabel : kNoText;
}

void FileProviderItem::setCheckoutLabel(std::optional<std::string> label) {
  if (label || rare_) rare().checkoutLabel = std::move(label);
}

std::string FileProviderItem::description() {
  return fmt::format(
      "FileProviderItem {{\n  itemIdentifier: {}\n  parentItemIdentifier: {}\n  filename: {}\n"
      "  itemType: {}\n  contentModificationDate: {}\n  documentSize: {}\n}}",
      zelto::description(itemIdentifier_), zelto::description(parentItemIdentifier_),
      zelto::description(filename_), std::uint32_t{itemType_}, zelto::description(contentModificationDate()),
      documentSize_ ? fmt::to_string(*documentSize_) : "(null)");
}

}  // namespace zelto
