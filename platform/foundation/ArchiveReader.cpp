#include "platform/foundation/ArchiveReader.h"

#include <utility>

#include "platform/foundation/DictionaryEntries.h"

namespace zelto {
namespace {

constexpr std::size_t kMaximumBytes = std::size_t{16} << 20;
constexpr std::size_t kMaximumArchiveDepth = 64;
constexpr std::uint64_t kCostPerValue = 64;
constexpr std::uint64_t kMaximumArchiveCost = std::uint64_t{128} << 20;

bool isOfType(plist_t node, plist_type type) { return node != nullptr && plist_get_node_type(node) == type; }

std::optional<PropertyListValue> scalarIn(plist_t object, const char* key, plist_type type) {
  plist_t node = plist_dict_get_item(object, key);
  return isOfType(node, type) ? scalarValue(node) : std::nullopt;
}

std::optional<PropertyListValue> dateValue(plist_t object) {
  plist_t node = plist_dict_get_item(object, "NS.time");
  if (!isOfType(node, PLIST_REAL) && !isOfType(node, PLIST_UINT)) return std::nullopt;
  return NSDate::sinceReferenceDate(scalarValue(node)->doubleValue());
}

std::uint64_t costOf(const PropertyListValue& value) {
  if (const auto* text = value.asString()) return kCostPerValue + text->size();
  if (const auto* data = value.asData()) return kCostPerValue + data->size();
  return kCostPerValue;
}

}  // namespace

std::expected<NSDictionary, std::string> ArchiveReader::dictionary(const NSData& archive) {
  if (archive.size() > kMaximumBytes) return std::unexpected("it is too large");
  // The library makes references of the binary form only.
  if (!archive.text().starts_with("bplist")) return std::unexpected("it is no binary property list");
  const auto node = propertyListNode(archive.bytes());
  if (!node) return std::unexpected(node.error());
  const auto archiver =
      isOfType(node->get(), PLIST_DICT) ? scalarIn(node->get(), "$archiver", PLIST_STRING) : std::nullopt;
  if (!archiver || *archiver->asString() != "NSKeyedArchiver")
    return std::unexpected("it is no keyed archive");
  ArchiveReader reader(node->get());
  plist_t top = plist_dict_get_item(node->get(), "$top");
  const auto* root =
      reader.resolve(isOfType(top, PLIST_DICT) ? plist_dict_get_item(top, "root") : nullptr, 1);
  if (root == nullptr) return std::unexpected(reader.problem_);
  if (root->asDictionary() == nullptr) return std::unexpected("its root is not a dictionary");
  return *root->asDictionary();
}

ArchiveReader::ArchiveReader(plist_t archive)
    : objects_(arrayElements(plist_dict_get_item(archive, "$objects"))), resolved_(objects_.size()) {}

const PropertyListValue* ArchiveReader::resolve(plist_t reference, std::size_t depth) {
  const auto index = indexOf(reference);
  if (!index) return fail("a reference is out of range"), nullptr;
  Resolved& resolved = resolved_[*index];
  if (resolved.open) return fail("an object contains itself"), nullptr;
  if (depth > kMaximumArchiveDepth) return fail("it is nested too deeply"), nullptr;
  const std::uint64_t before = cost_;
  if (!resolved.value) {
    resolved.open = true;
    resolved.value = valueOf(objects_[*index], depth);
    resolved.open = false;
    if (!resolved.value) return fail("an object is not of a permitted kind"), nullptr;
    cost_ += costOf(*resolved.value);
    resolved.cost = cost_ - before;
  } else {
    cost_ += resolved.cost;
  }
  if (cost_ > kMaximumArchiveCost) return fail("it would take too much memory"), nullptr;
  return &*resolved.value;
}

std::optional<PropertyListValue> ArchiveReader::valueOf(plist_t object, std::size_t depth) {
  // The first object stands for no value at all.
  if (object == objects_.front()) return std::nullopt;
  if (!isOfType(object, PLIST_DICT)) return scalarValue(object);
  const auto className = classNameOf(object);
  return className ? instanceOf(*className, object, depth) : std::nullopt;
}

std::optional<PropertyListValue> ArchiveReader::instanceOf(const std::string& className, plist_t object,
                                                           std::size_t depth) {
  if (className == "NSDate") return dateValue(object);
  if (className == "NSDictionary" || className == "NSMutableDictionary")
    return dictionaryValue(object, depth);
  if (className == "NSArray" || className == "NSMutableArray") return arrayValue(object, depth);
  if (className == "NSString" || className == "NSMutableString")
    return scalarIn(object, "NS.string", PLIST_STRING);
  if (className == "NSData" || className == "NSMutableData") return scalarIn(object, "NS.data", PLIST_DATA);
  return std::nullopt;
}

std::optional<PropertyListValue> ArchiveReader::dictionaryValue(plist_t object, std::size_t depth) {
  const auto keys = arrayElements(plist_dict_get_item(object, "NS.keys"));
  const auto values = arrayElements(plist_dict_get_item(object, "NS.objects"));
  if (keys.size() != values.size()) return fail("a dictionary has keys without values");
  std::vector<NSDictionary::Entry> entries;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto* key = resolve(keys[i], depth + 1);
    const auto* value = key == nullptr ? nullptr : resolve(values[i], depth + 1);
    if (value == nullptr) return std::nullopt;
    if (key->asString() == nullptr) return fail("a dictionary has a key that is no string");
    entries.emplace_back(DictionaryKey(*key->asString()), *value);
  }
  return dictionaryOfEntries(std::move(entries));
}

std::optional<PropertyListValue> ArchiveReader::arrayValue(plist_t object, std::size_t depth) {
  NSArray array;
  for (plist_t element : arrayElements(plist_dict_get_item(object, "NS.objects"))) {
    const auto* value = resolve(element, depth + 1);
    if (value == nullptr) return std::nullopt;
    array.push_back(*value);
  }
  return array;
}

std::optional<std::string> ArchiveReader::classNameOf(plist_t object) const {
  const auto index = indexOf(plist_dict_get_item(object, "$class"));
  if (!index || !isOfType(objects_[*index], PLIST_DICT)) return std::nullopt;
  const auto name = scalarIn(objects_[*index], "$classname", PLIST_STRING);
  return name ? std::optional(*name->asString()) : std::nullopt;
}

std::optional<std::uint64_t> ArchiveReader::indexOf(plist_t reference) const {
  if (!isOfType(reference, PLIST_UID)) return std::nullopt;
  std::uint64_t index = 0;
  plist_get_uid_val(reference, &index);
  return index < objects_.size() ? std::optional(index) : std::nullopt;
}

std::nullopt_t ArchiveReader::fail(const char* problem) {
  if (problem_.empty()) problem_ = problem;
  return std::nullopt;
}

}  // namespace zelto
