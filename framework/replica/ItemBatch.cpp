#include "framework/replica/ItemBatch.h"

#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "framework/replica/ByteRecord.h"
#include "framework/replica/Digest.h"
#include "framework/replica/ReplicaFiles.h"

namespace zelto {
namespace {

constexpr std::size_t kReported = 10;
constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLargestAttribute = 65536;  // what the kernel takes

std::string printable(std::string_view name) {
  std::string text;
  for (const char c : name.substr(0, kLongestName)) {
    const auto byte = static_cast<unsigned char>(c);
    text += byte < 0x20 || byte == 0x7f ? fmt::format("\\x{:02x}", byte) : std::string(1, c);
  }
  return text;
}

// Why an item of this name cannot be shown; "" when it can.
std::string_view reasonAgainst(std::string_view name) {
  if (name.empty()) return "an empty name";
  if (name == "." || name == "..") return "a name that means a folder itself or the one above";
  if (name.size() > kLongestName) return "a name of more than 255 bytes";
  if (name.find('/') != name.npos || name.find('\0') != name.npos) return "a name with \"/\" or NUL";
  return {};
}

NodeKind kindOf(const NSFileProviderItem& item) {
  static const UTType folder = UTType::folder(), directory = UTType::directory(),
                      link = UTType::symbolicLink();
  const std::optional<UTType>& type = item.contentType();
  if (!type) return item.symlinkTargetPath() ? NodeKind::symlink : NodeKind::file;
  if (*type == folder) return NodeKind::folder;
  // Items of a folder mostly have one of few types: the last answer saves the walk through the table.
  thread_local const std::string* lastType = nullptr;
  thread_local NodeKind lastKind = NodeKind::file;
  if (lastType == &type->identifier()) return lastKind;
  const bool isFolder = type->conformsTo(folder) || type->conformsTo(directory);
  lastKind = type->conformsTo(link) ? NodeKind::symlink : isFolder ? NodeKind::folder : NodeKind::file;
  lastType = &type->identifier();
  return lastKind;
}

// To the microsecond, as dates of a file system are given out; clamped to what nanoseconds can hold.
std::int64_t nanoseconds(NSDate date) {
  const double micros = std::round(date.timeIntervalSince1970() * 1e6);
  constexpr double kMost = 9.2e15;
  if (std::isnan(micros)) return 0;
  return static_cast<std::int64_t>(std::min(std::max(micros, -kMost), kMost)) * 1000;
}

std::uint64_t sizeOf(const NSFileProviderItem& item, const ItemRecord& record) {
  if (record.fields.kind == NodeKind::folder) return 0;
  if (record.fields.kind == NodeKind::symlink) return record.symlinkTarget.size();
  const std::int64_t size = item.documentSize().value_or(0);
  return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

std::string_view attributeBytes(const PropertyListValue& value) {
  if (const NSData* data = value.asData()) return data->text();
  if (const std::string* text = value.asString()) return *text;
  return {};
}

}  // namespace

bool isRootIdentifier(std::string_view identifier) {
  return identifier == "/" || identifier == NSFileProviderRootContainerItemIdentifier;
}

void LeftOut::add(std::string_view name, std::string_view reason) {
  if (++count_ > kReported) return;
  lines_.push_back(fmt::format("item \"{}\" is left out: {}", printable(name), reason));
}

void LeftOut::report() const {
  for (const std::string& line : lines_) reportLine(line);
  if (count_ > kReported) reportLine(fmt::format("{} more items are left out", count_ - kReported));
}

ItemBatch::ItemBatch(const std::vector<NSFileProviderItemPtr>& items, VersionTemplates& templates,
                     ItemTraitsPool& traits)
    : templates_(templates), traits_(traits) {
  records_.reserve(items.size());
  texts_.reserve(items.size() * 24);
  for (const NSFileProviderItemPtr& item : items) {
    if (item) add(*item);
  }
}

void ItemBatch::add(NSFileProviderItem& item) {
  const std::optional<std::string>& identifier = item.itemIdentifier();
  const std::optional<std::string>& name = item.filename();
  if (!identifier || identifier->empty()) {
    return leftOut_.add(name ? std::string_view(*name) : "", "no identifier");
  }
  if (isRootIdentifier(*identifier)) return;
  if (!name) return leftOut_.add(*identifier, "no name");
  if (const auto reason = reasonAgainst(*name); !reason.empty()) return leftOut_.add(*name, reason);

  ItemRecord& record = records_.emplace_back();
  record.identifier = *identifier;
  record.name = *name;
  record.parentIdentifier = &item.parentItemIdentifier();
  record.fields.kind = kindOf(item);
  record.fields.capabilities = static_cast<std::uint16_t>(item.capabilities());
  record.fields.flags = static_cast<std::uint8_t>(item.fileSystemFlags());
  if (record.fields.kind == NodeKind::symlink && item.symlinkTargetPath()) {
    record.symlinkTarget = *item.symlinkTargetPath();
  }
  record.fields.size = sizeOf(item, record);
  record.fields.traits = traits_.numberFor({item.userInfo(), item.decorations()});
  readDates(item, record.fields);
  readVersion(item, record);
  readAttributes(item, record);
}

void ItemBatch::readDates(NSFileProviderItem& item, NodeFields& fields) {
  const auto modified = item.contentModificationDate();
  fields.modifiedNs = modified ? nanoseconds(*modified) : 0;
  const auto created = item.creationDate();
  fields.createdNs = !created || created == modified ? fields.modifiedNs : nanoseconds(*created);
  const auto used = item.lastUsedDate();
  fields.accessedNs = !used || used == modified ? fields.modifiedNs : nanoseconds(*used);
}

void ItemBatch::readVersion(NSFileProviderItem& item, ItemRecord& record) {
  record.versionAt = texts_.size();
  if (const auto version = item.itemVersion()) {
    record.fields.versionTag = versionTag(*version);
    templates_.currentOr(*version).encode(*version, texts_);
    record.versionLength = texts_.size() - record.versionAt;
  }
  // Another target is another content, whatever the version says.
  if (record.fields.kind != NodeKind::symlink) return;
  record.fields.versionTag = digestOfBytes(record.symlinkTarget, record.fields.versionTag);
}

void ItemBatch::readAttributes(const NSFileProviderItem& item, ItemRecord& record) {
  const NSDictionary* attributes = item.extendedAttributes();
  record.attributesAt = texts_.size();
  if (attributes == nullptr || attributes->empty()) return;
  for (const auto& [key, value] : *attributes) {
    const std::string_view name = key.name(), bytes = attributeBytes(value);
    if (name.empty() || name.size() > kLongestName || bytes.size() > kLargestAttribute) continue;
    putPlain(texts_, static_cast<std::uint32_t>(name.size()));
    putPlain(texts_, static_cast<std::uint32_t>(bytes.size()));
    texts_.append(name).append(bytes);
  }
  record.attributesLength = texts_.size() - record.attributesAt;
  if (record.attributesLength > 0) record.fields.attributesDigest = digestOfBytes(this->attributes(record));
}

std::vector<std::pair<std::string, std::string>> decodedAttributes(std::string_view bytes) {
  std::vector<std::pair<std::string, std::string>> attributes;
  ByteReader reader(bytes);
  while (!reader.atEnd() && !reader.failed()) {
    const auto nameLength = reader.plain<std::uint32_t>();
    const auto valueLength = reader.plain<std::uint32_t>();
    const std::string_view name = reader.bytes(nameLength), value = reader.bytes(valueLength);
    if (!reader.failed()) attributes.emplace_back(name, value);
  }
  return attributes;
}

}  // namespace zelto
