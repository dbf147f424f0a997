#include "extension/MetadataChange.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "model/FileProviderItem.h"
#include "model/FileProviderUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

using enum NSFileProviderItemFields;

struct MetadataChange {
  NSFileProviderItemFields field;
  std::string (*logLine)(NSFileProviderItem&);
  // The line is written once the found item has its type, rather than before it is touched.
  bool logsLast = false;
  void (*apply)(FileProviderItem& found, NSFileProviderItem& item) = nullptr;
  bool reportsErrors = true;
};

namespace {

std::string identifierOf(const NSFileProviderItem& item) { return description(item.itemIdentifier()); }

std::string dateLine(const char* what, std::optional<NSDate> date, const NSFileProviderItem& item) {
  return fmt::format("FPMain[MODIFIED] {}={}, '{}'", what, description(date), identifierOf(item));
}

std::string lastUsedDateLine(NSFileProviderItem& item) {
  return dateLine("LastUsedDate", item.lastUsedDate(), item);
}

std::string creationDateLine(NSFileProviderItem& item) {
  return dateLine("CreationDate", item.creationDate(), item);
}

std::string modificationDateLine(NSFileProviderItem& item) {
  return dateLine("ModificationDate", item.contentModificationDate(), item);
}

std::string fileSystemFlagsLine(NSFileProviderItem& item) {
  const auto flags = item.fileSystemFlags();
  return fmt::format("FPMain[MODIFIED] FileSystemFlags='{}' ({:o}), '{}'",
                     FileProviderUtils::stringForFileSystemFlags(flags), static_cast<std::uint32_t>(flags),
                     identifierOf(item));
}

std::string favoriteRankLine(NSFileProviderItem& item) {
  return fmt::format("FPMain[MODIFIED] FavoriteRank '{}'", identifierOf(item));
}

std::string tagDataLine(NSFileProviderItem& item) {
  const auto data = item.tagData();
  return fmt::format("FPMain[MODIFIED] TagData={}, '{}'",
                     data ? description(PropertyListValue(*data)) : "(null)", identifierOf(item));
}

std::string attributeText(const PropertyListValue& value) {
  const auto* data = value.asData();
  const bool isAscii = data && std::ranges::all_of(data->text(), [](unsigned char c) { return c < 0x80; });
  return isAscii ? std::string(data->text()) : description(value);
}

std::string extendedAttributesLine(NSFileProviderItem& item) {
  std::string line = "FPMain[MODIFIED] ExtendedAttributes:";
  const auto* attributes = item.extendedAttributes();
  if (!attributes) return line;
  for (const auto& [key, value] : *attributes) {
    line += fmt::format("\n  • {} = {}", key.name(), attributeText(value));
  }
  return line;
}

std::string typeAndCreatorLine(NSFileProviderItem& item) {
  const auto codes = item.typeAndCreator();
  return fmt::format("FPMain[MODIFIED] TypeAndCreator=(type:{}, creator:{}), '{}'",
                     static_cast<std::int32_t>(codes.type), static_cast<std::int32_t>(codes.creator),
                     identifierOf(item));
}

void takeLastUsedDate(FileProviderItem& found, NSFileProviderItem& item) {
  found.updateLastUsedDate(item.lastUsedDate());
}

void takeModifiedDate(FileProviderItem& found, NSFileProviderItem& item) {
  found.updateModifiedDate(item.contentModificationDate());
}

// In the order of preference, which is not that of the bits.
constexpr std::array kChanges{
    MetadataChange{.field = lastUsedDate,
                   .logLine = lastUsedDateLine,
                   .apply = takeLastUsedDate,
                   .reportsErrors = false},
    MetadataChange{.field = fileSystemFlags, .logLine = fileSystemFlagsLine},
    MetadataChange{.field = favoriteRank, .logLine = favoriteRankLine},
    MetadataChange{.field = tagData, .logLine = tagDataLine},
    MetadataChange{.field = creationDate, .logLine = creationDateLine},
    MetadataChange{
        .field = contentModificationDate, .logLine = modificationDateLine, .apply = takeModifiedDate},
    MetadataChange{.field = extendedAttributes, .logLine = extendedAttributesLine, .logsLast = true},
    MetadataChange{.field = typeAndCreator, .logLine = typeAndCreatorLine, .logsLast = true},
};

void carryOut(const MetadataChange& change, FileProviderItem* found, NSFileProviderItem& item) {
  const auto log = [&] { FileProviderLogger::instance().logInfo(change.logLine(item)); };
  if (!change.logsLast) log();
  if (found) found->updateContentType(item.contentType());
  if (change.logsLast) log();
  if (found && change.apply) change.apply(*found, item);
}

}  // namespace

const MetadataChange* metadataChangeFor(NSFileProviderItemFields changedFields) {
  const auto change = std::ranges::find_if(
      kChanges, [changedFields](const MetadataChange& one) { return contains(changedFields, one.field); });
  return change != kChanges.end() ? &*change : nullptr;
}

std::shared_ptr<NSProgress> acknowledge(const MetadataChange& change, NSFileProviderItemPtr item,
                                        NSFileProviderItemFields changedFields,
                                        NSFileProviderItemCompletion completionHandler) {
  auto identifier = item->itemIdentifier().value_or("");
  return FileProviderItem::findProviderItemForIdentifier(
      std::move(identifier),
      [&change, item = std::move(item), changedFields, completion = std::move(completionHandler)](
          FileProviderItemPtr found, std::optional<NSError> error) mutable {
        carryOut(change, found.get(), *item);
        if (!change.reportsErrors) error.reset();
        completion(std::move(found), without(changedFields, change.field), false, std::move(error));
      });
}

}  // namespace zelto
