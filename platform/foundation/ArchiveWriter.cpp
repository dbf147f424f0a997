#include "platform/foundation/ArchiveWriter.h"

#include "platform/foundation/Unicode.h"

namespace zelto {
namespace {

constexpr std::size_t kMaximumWrittenDepth = 32;
constexpr std::uint64_t kArchiveVersion = 100000;

plist_t uidArray(const std::vector<std::uint64_t>& uids) {
  plist_t array = plist_new_array();
  for (const std::uint64_t uid : uids) plist_array_append_item(array, plist_new_uid(uid));
  return array;
}

plist_t scalarNode(const PropertyListValue& value) {
  if (const auto* boolean = value.asBoolean()) return plist_new_bool(*boolean ? 1 : 0);
  if (const auto* integer = value.asInteger()) return plist_new_uint(static_cast<std::uint64_t>(*integer));
  if (const auto* real = value.asReal()) return plist_new_real(*real);
  const std::string_view bytes = value.asData()->text();
  return plist_new_data(bytes.empty() ? "" : bytes.data(), bytes.size());
}

NSData binaryForm(plist_t tree) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(tree, &bytes, &length);
  NSData data = NSData::copyOf(std::string_view(bytes, length));
  plist_to_bin_free(bytes);
  return data;
}

}  // namespace

std::optional<NSData> ArchiveWriter::archive(const NSDictionary& root) {
  ArchiveWriter writer;
  const auto uid = writer.addDictionary(root, 1);
  return uid ? std::optional(writer.finished(*uid)) : std::nullopt;
}

ArchiveWriter::ArchiveWriter() : objects_(plist_new_array()), archive_(plist_new_dict()) {
  plist_dict_set_item(archive_.get(), "$version", plist_new_uint(kArchiveVersion));
  plist_dict_set_item(archive_.get(), "$archiver", plist_new_string("NSKeyedArchiver"));
  plist_dict_set_item(archive_.get(), "$top", plist_new_dict());
  plist_dict_set_item(archive_.get(), "$objects", objects_);
  addNode(plist_new_string("$null"));
}

std::optional<ArchiveWriter::Uid> ArchiveWriter::add(const PropertyListValue& value, std::size_t depth) {
  if (depth > kMaximumWrittenDepth) return std::nullopt;
  if (const auto* text = value.asString()) return addString(*text);
  if (const auto* date = value.asDate()) return addDate(*date);
  if (const auto* array = value.asArray()) return addArray(*array, depth);
  if (const auto* dictionary = value.asDictionary()) return addDictionary(*dictionary, depth);
  return addNode(scalarNode(value));
}

std::optional<ArchiveWriter::Uid> ArchiveWriter::addString(std::string_view text) {
  const auto [entry, isNew] = strings_.try_emplace(std::string(text), count_);
  if (!isNew) return entry->second;
  if (!isValidUTF8(text) || text.find('\0') != std::string_view::npos) return std::nullopt;
  return addNode(plist_new_string(entry->first.c_str()));
}

std::optional<ArchiveWriter::Uid> ArchiveWriter::addDictionary(const NSDictionary& dictionary,
                                                               std::size_t depth) {
  plist_t node = plist_new_dict();
  const Uid uid = addNode(node);
  std::vector<Uid> keys;
  std::vector<Uid> values;
  for (const auto& entry : dictionary) {
    const auto key = addString(entry.first.name());
    if (!key) return std::nullopt;
    keys.push_back(*key);
  }
  for (const auto& entry : dictionary) {
    const auto value = add(entry.second, depth + 1);
    if (!value) return std::nullopt;
    values.push_back(*value);
  }
  plist_dict_set_item(node, "NS.keys", uidArray(keys));
  plist_dict_set_item(node, "NS.objects", uidArray(values));
  setClass(node, "NSDictionary");
  return uid;
}

std::optional<ArchiveWriter::Uid> ArchiveWriter::addArray(const NSArray& array, std::size_t depth) {
  plist_t node = plist_new_dict();
  const Uid uid = addNode(node);
  std::vector<Uid> values;
  for (const auto& element : array) {
    const auto value = add(element, depth + 1);
    if (!value) return std::nullopt;
    values.push_back(*value);
  }
  plist_dict_set_item(node, "NS.objects", uidArray(values));
  setClass(node, "NSArray");
  return uid;
}

ArchiveWriter::Uid ArchiveWriter::addDate(NSDate date) {
  plist_t node = plist_new_dict();
  const Uid uid = addNode(node);
  plist_dict_set_item(node, "NS.time", plist_new_real(date.timeIntervalSinceReferenceDate()));
  setClass(node, "NSDate");
  return uid;
}

ArchiveWriter::Uid ArchiveWriter::addNode(plist_t node) {
  plist_array_append_item(objects_, node);
  return count_++;
}

void ArchiveWriter::setClass(plist_t object, const char* name) {
  const auto [entry, isNew] = classes_.try_emplace(name, count_);
  if (isNew) {
    plist_t classes = plist_new_array();
    plist_array_append_item(classes, plist_new_string(name));
    plist_array_append_item(classes, plist_new_string("NSObject"));
    plist_t record = plist_new_dict();
    plist_dict_set_item(record, "$classname", plist_new_string(name));
    plist_dict_set_item(record, "$classes", classes);
    addNode(record);
  }
  plist_dict_set_item(object, "$class", plist_new_uid(entry->second));
}

NSData ArchiveWriter::finished(Uid root) {
  plist_dict_set_item(plist_dict_get_item(archive_.get(), "$top"), "root", plist_new_uid(root));
  return binaryForm(archive_.get());
}

}  // namespace zelto
