#include "framework/replica/LocalEntry.h"

#include "framework/replica/ByteRecord.h"

namespace zelto {
namespace {

constexpr std::size_t kTexts = 6;

struct Head {
  Inode inode;
  Inode parent;
  NodeFields fields;
  std::uint64_t order;
  std::uint64_t metadata;
  std::uint64_t settled;
  std::uint32_t flags;
  std::uint32_t lengths[kTexts];
  SentContent sent;
};

constexpr std::uint32_t kBound = 1, kMoved = 2, kRemoved = 4, kContent = 8, kAttributes = 16, kWriting = 32,
                        kListed = 64, kGone = 128;

std::uint32_t flagsOf(const LocalEntry& entry) {
  return (entry.bound ? kBound : 0) | (entry.moved ? kMoved : 0) | (entry.removed ? kRemoved : 0) |
         (entry.content ? kContent : 0) | (entry.attributesHere ? kAttributes : 0) |
         (entry.writing ? kWriting : 0) | (entry.listed ? kListed : 0) | (entry.gone ? kGone : 0);
}

bool isSound(const LocalEntry& entry) {
  return entry.inode > kRootInode && entry.fields.kind <= NodeKind::symlink && !entry.name.empty() &&
         entry.name.size() <= 255 && entry.name.find('/') == std::string::npos;
}

}  // namespace

std::string LocalEntry::encoded() const {
  const std::string* const texts[] = {&name, &symlinkTarget, &attributes, &identifier, &version, &attempt};
  Head head{inode, parent, fields, order, metadata, settled, flagsOf(*this), {}, sent};
  for (std::size_t i = 0; i < kTexts; ++i) head.lengths[i] = static_cast<std::uint32_t>(texts[i]->size());
  std::string bytes;
  putPlain(bytes, head);
  for (const std::string* text : texts) bytes += *text;
  return bytes;
}

std::optional<LocalEntry> LocalEntry::decoded(std::string_view bytes) {
  ByteReader reader(bytes);
  const auto head = reader.plain<Head>();
  LocalEntry entry;
  entry.inode = head.inode;
  entry.parent = head.parent;
  entry.fields = head.fields;
  entry.fields.traits = 0;  // the number may never have come to the database
  entry.order = head.order;
  entry.sent = head.sent;
  entry.metadata = head.metadata;
  entry.settled = head.settled;
  entry.bound = (head.flags & kBound) != 0;
  entry.moved = (head.flags & kMoved) != 0;
  entry.removed = (head.flags & kRemoved) != 0;
  entry.content = (head.flags & kContent) != 0;
  entry.attributesHere = (head.flags & kAttributes) != 0;
  entry.writing = (head.flags & kWriting) != 0;
  entry.listed = (head.flags & kListed) != 0;
  entry.gone = (head.flags & kGone) != 0;
  std::string* const texts[] = {&entry.name,       &entry.symlinkTarget, &entry.attributes,
                                &entry.identifier, &entry.version,       &entry.attempt};
  for (std::size_t i = 0; i < kTexts; ++i) *texts[i] = reader.bytes(head.lengths[i]);
  if (reader.failed() || !reader.atEnd() || !isSound(entry)) return {};
  return entry;
}

}  // namespace zelto
