#include "framework/replica/Journal.h"

namespace zelto {
namespace {

struct RecordHead {
  std::uint32_t kind;
  std::uint32_t length;
};

struct NodeHead {
  Inode inode;
  Inode parent;
  NodeFields fields;
  std::uint32_t name;
  std::uint32_t ownIdentifier;
  std::uint32_t version;
  std::uint32_t symlinkTarget;
  std::uint32_t attributes;
  std::uint32_t listed;
};

struct Removal {
  Inode inode;
  std::uint64_t items;
  std::uint64_t folders;
};

struct ContentHead {
  Inode inode;
  std::uint64_t generation;
  std::uint64_t versionTag;
  std::uint64_t size;
};

std::uint32_t length(std::string_view text) { return static_cast<std::uint32_t>(text.size()); }

NodeRow nodeRow(std::string_view record) {
  ByteReader reader(record);
  const auto head = reader.plain<NodeHead>();
  NodeRow row{head.inode, head.parent, head.listed != 0, head.fields, {}, {}, {}, {}, {}};
  row.name = reader.bytes(head.name);
  row.ownIdentifier = reader.bytes(head.ownIdentifier);
  row.version = reader.bytes(head.version);
  row.symlinkTarget = reader.bytes(head.symlinkTarget);
  row.attributes = reader.bytes(head.attributes);
  return row;
}

}  // namespace

void JournalChunk::begin(Kind kind, std::size_t bytes) {
  putPlain(bytes_, RecordHead{static_cast<std::uint32_t>(kind), static_cast<std::uint32_t>(bytes)});
  ++rows_;
}

void JournalChunk::putNode(const NodeRow& row) {
  const std::size_t texts = row.name.size() + row.ownIdentifier.size() + row.version.size() +
                            row.symlinkTarget.size() + row.attributes.size();
  begin(Kind::node, sizeof(NodeHead) + texts);
  putPlain(bytes_, NodeHead{row.inode, row.parent, row.fields, length(row.name), length(row.ownIdentifier),
                            length(row.version), length(row.symlinkTarget), length(row.attributes),
                            row.listed ? 1U : 0U});
  bytes_.append(row.name).append(row.ownIdentifier).append(row.version);
  bytes_.append(row.symlinkTarget).append(row.attributes);
}

void JournalChunk::putListed(Inode folder) {
  begin(Kind::listed, sizeof folder);
  putPlain(bytes_, folder);
}

void JournalChunk::putDetached(Inode inode) {
  begin(Kind::detached, sizeof inode);
  putPlain(bytes_, inode);
}

void JournalChunk::putRemoval(Inode inode, std::uint64_t items, std::uint64_t folders) {
  begin(Kind::removal, sizeof(Removal));
  putPlain(bytes_, Removal{inode, items, folders});
}

void JournalChunk::putContent(const ContentRow& row) {
  begin(Kind::content, sizeof(ContentHead) + row.ranges.size());
  putPlain(bytes_, ContentHead{row.inode, row.generation, row.versionTag, row.size});
  bytes_.append(row.ranges);
}

void JournalChunk::putContentGone(Inode inode, std::uint64_t generation) {
  begin(Kind::contentGone, sizeof(ContentHead));
  putPlain(bytes_, ContentHead{inode, generation, 0, 0});
}

void JournalChunk::putSettled(std::uint64_t number) {
  begin(Kind::settled, sizeof number);
  putPlain(bytes_, number);
}

bool JournalChunk::readOne(Kind kind, std::string_view record, Reader& reader) {
  ByteReader bytes(record);
  if (kind == Kind::node) return reader.node(nodeRow(record));
  if (kind == Kind::listed) return reader.listed(bytes.plain<Inode>());
  if (kind == Kind::detached) return reader.detached(bytes.plain<Inode>());
  if (kind == Kind::settled) return reader.settled(bytes.plain<std::uint64_t>());
  if (kind == Kind::removal) {
    const auto removal = bytes.plain<Removal>();
    return reader.removal(removal.inode, removal.items, removal.folders);
  }
  const auto head = bytes.plain<ContentHead>();
  if (kind == Kind::contentGone) return reader.contentGone(head.inode, head.generation);
  const std::string_view ranges = record.substr(sizeof head);
  return reader.content({head.inode, head.generation, head.versionTag, head.size, ranges});
}

bool JournalChunk::read(Reader& reader) const {
  ByteReader bytes(bytes_);
  while (!bytes.atEnd()) {
    const auto head = bytes.plain<RecordHead>();
    if (!readOne(Kind{head.kind}, bytes.bytes(head.length), reader)) return false;
  }
  return true;
}

std::optional<NodeRow> JournalChunk::find(Inode inode) const {
  std::optional<std::string_view> last;
  ByteReader bytes(bytes_);
  while (!bytes.atEnd()) {
    const auto head = bytes.plain<RecordHead>();
    const std::string_view record = bytes.bytes(head.length);
    if (Kind{head.kind} != Kind::node) continue;
    if (ByteReader(record).plain<Inode>() == inode) last = record;
  }
  if (!last) return {};
  return nodeRow(*last);
}

}  // namespace zelto
