#include "framework/replica/ItemTraits.h"

#include <optional>
#include <utility>

#include "framework/replica/ByteRecord.h"

namespace zelto {
namespace {

constexpr std::size_t kLongest = 8192;  // bytes of one item's traits
constexpr std::size_t kMost = 100'000;
enum class Kind : std::uint8_t { truth, number, real, text, decoration };

void putText(std::string& to, std::string_view text) {
  putPlain(to, static_cast<std::uint16_t>(text.size()));
  to.append(text);
}

std::string_view readText(ByteReader& from) {
  const auto length = from.plain<std::uint16_t>();
  return from.bytes(length);
}

template <typename Plain>
void putValue(std::string& to, std::string_view name, Kind kind, const Plain& value) {
  putPlain(to, kind);
  putText(to, name);
  putPlain(to, value);
}

// Values of other kinds are of no use to a rule.
void putEntry(std::string& to, std::string_view name, const PropertyListValue& value) {
  if (const bool* truth = value.asBoolean()) return putValue(to, name, Kind::truth, *truth);
  if (const std::string* text = value.asString()) {
    if (text->size() > kLongest) return;
    putPlain(to, Kind::text);
    putText(to, name);
    return putText(to, *text);
  }
  if (const std::int64_t* number = value.asInteger()) return putValue(to, name, Kind::number, *number);
  if (const double* real = value.asReal()) return putValue(to, name, Kind::real, *real);
}

std::optional<PropertyListValue> readValue(Kind kind, ByteReader& from) {
  switch (kind) {
    case Kind::truth:
      return from.plain<std::uint8_t>() != 0;
    case Kind::number:
      return from.plain<std::int64_t>();
    case Kind::real:
      return from.plain<double>();
    case Kind::text:
      return std::string(readText(from));
    case Kind::decoration:
      break;
  }
  return std::nullopt;
}

}  // namespace

std::string ItemTraits::encoded() const {
  std::string bytes;
  for (const auto& [key, value] : userInfo) {
    if (key.name().size() <= kLongest) putEntry(bytes, key.name(), value);
  }
  for (const std::string& decoration : decorations) {
    if (decoration.size() > kLongest) continue;
    putPlain(bytes, Kind::decoration);
    putText(bytes, decoration);
  }
  return bytes.size() > kLongest ? std::string() : bytes;
}

std::shared_ptr<const ItemTraits> ItemTraits::decoded(std::string_view bytes) {
  auto traits = std::make_shared<ItemTraits>();
  ByteReader reader(bytes);
  while (!reader.atEnd() && !reader.failed()) {
    const auto kind = reader.plain<Kind>();
    const std::string_view name = readText(reader);
    if (reader.failed()) return nullptr;
    if (kind == Kind::decoration) {
      traits->decorations.emplace_back(name);
    } else if (auto value = readValue(kind, reader)) {
      traits->userInfo.set(name, *std::move(value));
    } else {
      return nullptr;
    }
  }
  return reader.failed() ? nullptr : traits;
}

ItemTraitsPool::ItemTraitsPool(const Stored& stored) {
  for (const auto& [number, bytes] : stored) {
    if (number == 0 || number >= kMost) continue;
    // Also the number of damaged ones stays taken.
    if (known_.size() <= number) known_.resize(number + 1);
    known_[number] = {bytes, ItemTraits::decoded(bytes)};
    if (known_[number].traits) numbers_.insert_or_assign(bytes, number);
  }
}

ItemTraitsPool::Number ItemTraitsPool::numberFor(const ItemTraits& traits) {
  if (traits.empty()) return 0;
  std::string bytes = traits.encoded();
  if (bytes.empty()) return 0;
  const std::lock_guard lock(mutex_);
  if (const auto at = numbers_.find(bytes); at != numbers_.end()) return at->second;
  if (known_.size() >= kMost) return 0;
  const auto number = static_cast<Number>(known_.size());
  known_.push_back({bytes, ItemTraits::decoded(bytes)});
  numbers_.emplace(std::move(bytes), number);
  return number;
}

std::shared_ptr<const ItemTraits> ItemTraitsPool::find(Number number) const {
  const std::lock_guard lock(mutex_);
  return number < known_.size() ? known_[number].traits : nullptr;
}

ItemTraitsPool::Number ItemTraitsPool::last() const {
  const std::lock_guard lock(mutex_);
  return static_cast<Number>(known_.size() - 1);
}

std::string ItemTraitsPool::bytes(Number number) const {
  const std::lock_guard lock(mutex_);
  return number < known_.size() ? known_[number].bytes : std::string();
}

}  // namespace zelto
