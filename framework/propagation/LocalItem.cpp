#include "framework/propagation/LocalItem.h"

namespace zelto {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::uint16_t kAnyExecute = 0111, kAnyWrite = 0222, kAnyRead = 0444;

std::optional<UTType> typeOf(const LocalStep& step) {
  switch (step.node.kind) {
    case NodeKind::folder:
      return UTType::folder();
    case NodeKind::symlink:
      return UTType::symbolicLink();
    case NodeKind::file:
      break;
  }
  const auto dot = step.name.rfind('.');
  std::optional<UTType> type;
  if (dot != std::string::npos && dot > 0)
    type = UTType::typeWithFilenameExtension(step.name.substr(dot + 1));
  // A file may bear the name of a package, which is a folder; it is made as the file that it is.
  if (type && type->conformsTo(UTType::directory()))
    return UTType::typeWithMIMEType("application/octet-stream");
  return type ? type : UTType::typeWithMIMEType(mimeTypeForFilename(step.name));
}

std::optional<NSDate> dateOrNothing(std::int64_t sinceEpoch) {
  if (sinceEpoch == 0) return std::nullopt;
  return dateForNanoseconds(sinceEpoch);
}

}  // namespace

NSDate dateForNanoseconds(std::int64_t sinceEpoch) {
  const std::int64_t rest = ((sinceEpoch % kSecond) + kSecond) % kSecond;
  const std::timespec time{static_cast<std::time_t>((sinceEpoch - rest) / kSecond), static_cast<long>(rest)};
  return NSDate::fromTimespec(time);
}

LocalItem::LocalItem(const LocalStep& step, NSDictionary extendedAttributes)
    : LocalItem(step, step.identifier.empty() ? step.destination() : step.identifier,
                std::move(extendedAttributes)) {}

LocalItem::LocalItem(const LocalStep& step, std::string identifier, NSDictionary extendedAttributes)
    : node_(step.node),
      identifier_(std::move(identifier)),
      parent_(step.parentIdentifier),
      name_(step.name),
      type_(typeOf(step)),
      attributes_(std::move(extendedAttributes)),
      version_(std::make_shared<const NSFileProviderItemVersion>(step.version)) {
  if (step.node.kind == NodeKind::symlink) target_ = step.symlinkTarget;
}

NSFileProviderFileSystemFlags LocalItem::fileSystemFlags() const {
  using Flags = NSFileProviderFileSystemFlags;
  if (node_.permissions == 0) return node_.flags;
  Flags flags = without(node_.flags, Flags::userReadable | Flags::userWritable | Flags::userExecutable);
  if ((node_.permissions & kAnyRead) != 0) flags = flags | Flags::userReadable;
  if ((node_.permissions & kAnyWrite) != 0) flags = flags | Flags::userWritable;
  if ((node_.permissions & kAnyExecute) != 0) flags = flags | Flags::userExecutable;
  return flags;
}

std::optional<std::int64_t> LocalItem::documentSize() const {
  if (node_.kind == NodeKind::folder) return std::nullopt;
  return static_cast<std::int64_t>(node_.size);
}

std::optional<NSDate> LocalItem::creationDate() const { return dateOrNothing(node_.createdNs); }
std::optional<NSDate> LocalItem::contentModificationDate() { return dateOrNothing(node_.modifiedNs); }
std::optional<NSDate> LocalItem::lastUsedDate() const { return dateOrNothing(node_.accessedNs); }

}  // namespace zelto
