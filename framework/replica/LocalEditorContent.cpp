#include <cerrno>

#include "framework/replica/ByteRecord.h"
#include "framework/replica/Digest.h"
#include "framework/replica/ItemBatch.h"
#include "framework/replica/LocalEditor.h"

namespace zelto {
namespace {

constexpr auto bit(NSFileProviderItemFields field) { return static_cast<std::uint64_t>(field); }

std::string encodedAttributes(const std::vector<std::pair<std::string, std::string>>& attributes) {
  std::string bytes;
  for (const auto& [name, value] : attributes) {
    putPlain(bytes, static_cast<std::uint32_t>(name.size()));
    putPlain(bytes, static_cast<std::uint32_t>(value.size()));
    bytes.append(name).append(value);
  }
  return bytes;
}

}  // namespace

int LocalEditor::setAttributes(Slot slot, const LocalAttributes& attributes) {
  if (slot == table().root()) return EPERM;
  LocalEntry entry = entryOf(slot);
  NodeFields& fields = entry.fields;
  // A file that is still to be sent takes its dates along.
  const bool sent = entry.bound && !entry.content;
  if (attributes.permissions) {
    fields.here = static_cast<std::uint16_t>((fields.here & ~kPermissionBits) | kPermissionsHere |
                                             (*attributes.permissions & kPermissionBits));
    if (entry.bound) entry.metadata |= bit(NSFileProviderItemFields::fileSystemFlags);
  }
  if (attributes.modifiedNs) {
    fields.modifiedNs = *attributes.modifiedNs;
    fields.here |= kDatesHere;
    if (sent) entry.metadata |= bit(NSFileProviderItemFields::contentModificationDate);
  }
  if (attributes.accessedNs) {
    fields.accessedNs = *attributes.accessedNs;
    fields.here |= kDatesHere;
    if (sent) entry.metadata |= bit(NSFileProviderItemFields::lastUsedDate);
  }
  const NodeFields after = fields;
  Draft draft;
  putEntry(draft, std::move(entry));
  if (const int code = commit(draft)) return code;
  table().setFields(slot, after);
  noteLocal(slot);
  return 0;
}

// Out of the row, which may change or go.
void LocalEditor::takeAttributes(LocalEntry& entry) const {
  if (std::exchange(entry.attributesHere, true)) return;
  entry.attributes = storedText(entry.inode, ReplicaReader::Text::attributes);
}

int LocalEditor::setExtendedAttribute(Slot slot, const std::string& name,
                                      const std::optional<std::string>& value) {
  if (slot == table().root()) return EPERM;
  constexpr std::size_t kMost = 256 << 10;  // of one node, in bytes; a record of the log holds them all
  LocalEntry entry = entryOf(slot);
  takeAttributes(entry);
  auto attributes = decodedAttributes(entry.attributes);
  const std::size_t gone =
      std::erase_if(attributes, [&name](const auto& known) { return known.first == name; });
  if (!value && gone == 0) return ENODATA;
  if (value) attributes.emplace_back(name, *value);
  entry.attributes = encodedAttributes(attributes);
  if (entry.attributes.size() > kMost) return ENOSPC;
  if (entry.bound) entry.metadata |= bit(NSFileProviderItemFields::extendedAttributes);
  entry.fields.here |= kAttributesHere;
  const NodeFields after = entry.fields;
  Draft draft;
  putEntry(draft, std::move(entry));
  if (const int code = commit(draft)) return code;
  table().setFields(slot, after);
  noteLocal(slot);
  return 0;
}

// Noted before the first byte can be written: a process that dies after that knows that the content is its
// own.
int LocalEditor::beginWriting(Slot slot, const std::shared_ptr<ContentFile>& file, bool truncate) {
  LocalEntry entry = entryOf(slot);
  if (!truncate && !file->complete()) return EAGAIN;
  const bool first = !entry.content || !entry.writing;
  entry.content = entry.writing = true;
  ++entry.writers;
  if (truncate) {
    ++entry.contentRevision;
    entry.fields.size = 0;
    entry.fields.modifiedNs = nowNs();
  }
  const NodeFields after = entry.fields;
  Draft draft;
  const Inode inode = entry.inode;
  if (first || truncate) {
    putEntry(draft, std::move(entry));
    if (const int code = commit(draft)) return code;
  } else {
    *changes_.running(inode) = std::move(entry);
  }
  if (const int code = around_.contents.becomeLocal(file, !truncate)) {
    --changes_.running(inode)->writers;
    return code;
  }
  table().setFields(slot, after);
  noteLocal(slot);
  return 0;
}

bool LocalEditor::written(Slot slot, const ContentFile& content) {
  NodeFields fields = table().fields(slot);
  fields.size = content.size();
  fields.modifiedNs = nowNs();
  table().setFields(slot, fields);
  LocalEntry* const entry = changes_.running(table()[slot].inode);
  return entry != nullptr && entry->contentRevision++ == entry->takenRevision;
}

bool LocalEditor::endWriting(Slot slot, const ContentFile& content) {
  const Inode inode = table()[slot].inode;
  LocalEntry* const running = changes_.running(inode);
  if (running == nullptr || running->writers == 0) return false;
  if (--running->writers > 0) return false;
  LocalEntry entry = entryOf(slot);
  entry.writing = false;
  entry.fields.size = content.size();
  // Opened for writing and not written to, or taken by the server while it was open.
  if (entry.bound && entry.contentRevision == entry.takenRevision) entry.content = false;
  const bool pending = entry.pending();
  table().setFields(slot, entry.fields);
  Draft draft;
  putEntry(draft, std::move(entry));
  // Without room for the record the older one serves: the size and date are then the file's own.
  static_cast<void>(commit(draft));
  noteLocal(slot);
  if (!pending) changes_.forgetAfter(inode, around_.journal.pushedSoFar());
  return true;
}

// Called once the database has what the log is to forget.
void LocalEditor::finishLate(Inode inode) {
  const LocalEntry* const entry = changes_.find(inode);
  if (entry == nullptr || entry->pending() || entry->writers > 0) return;
  if (entry->gone) around_.tree.forgetHidden(inode);
  Draft draft;
  draft.edit.drop.push_back(inode);
  if (commit(draft) == 0) around_.contents.comeBack(inode);
}

const std::string* LocalEditor::attributesHere(Inode inode) const {
  const LocalEntry* const entry = changes_.find(inode);
  return entry != nullptr && entry->attributesHere ? &entry->attributes : nullptr;
}

const std::string* LocalEditor::symlinkTarget(Inode inode) const {
  const LocalEntry* const entry = changes_.find(inode);
  return entry != nullptr && !entry->symlinkTarget.empty() ? &entry->symlinkTarget : nullptr;
}

}  // namespace zelto
