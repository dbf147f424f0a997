#include "platform/foundation/BinaryPropertyListCheck.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace zelto {
namespace {

constexpr std::uint64_t kTrailerSize = 32;
constexpr std::string_view kMagic = "bplist00";
constexpr std::uint32_t kMaximumPlistDepth = 128;
// What an object takes in memory beside its payload, about, and what the whole tree may take.
constexpr std::uint64_t kCostPerObject = 128;
constexpr std::uint64_t kMaximumPlistCost = std::uint64_t{256} << 20;

}  // namespace

std::optional<std::string> BinaryPropertyListCheck::problem() {
  if (readTrailer()) measure(root_, 1);
  return problem_.empty() ? std::nullopt : std::optional(problem_);
}

bool BinaryPropertyListCheck::readTrailer() {
  const std::string_view text(reinterpret_cast<const char*>(bytes_.data()), bytes_.size());
  if (!text.starts_with(kMagic) || bytes_.size() < kMagic.size() + kTrailerSize) return fail("it is cut off");
  const std::uint64_t trailer = bytes_.size() - kTrailerSize;
  offsetWidth_ = number(trailer + 6, 1).value_or(0);
  referenceWidth_ = number(trailer + 7, 1).value_or(0);
  const std::uint64_t count = number(trailer + 8, 8).value_or(0);
  root_ = number(trailer + 16, 8).value_or(0);
  offsetTable_ = number(trailer + 24, 8).value_or(0);
  const bool widthsFit =
      offsetWidth_ >= 1 && offsetWidth_ <= 8 && referenceWidth_ >= 1 && referenceWidth_ <= 8;
  if (!widthsFit || offsetTable_ > trailer || count > (trailer - offsetTable_) / offsetWidth_ ||
      root_ >= count) {
    return fail("its trailer is damaged");
  }
  measures_.resize(count);
  return true;
}

// Recursion ends at the permitted depth.
bool BinaryPropertyListCheck::measure(std::uint64_t index, std::uint32_t depth) {
  if (index >= measures_.size()) return fail("a reference is out of range");
  Measure& known = measures_[index];
  if (known.state == Measure::State::kOpen) return fail("an object contains itself");
  if (depth + known.height > kMaximumPlistDepth) return fail("it is nested too deeply");
  if (known.state == Measure::State::kKnown) return true;
  const auto object = objectAt(number(offsetTable_ + index * offsetWidth_, offsetWidth_).value_or(0));
  if (!object) return fail("an object is damaged");
  known.state = Measure::State::kOpen;
  Measure sum{Measure::State::kKnown, 0, kCostPerObject + object->payload};
  if (!measureReferences(*object, depth, sum)) return false;
  known = sum;
  return true;
}

bool BinaryPropertyListCheck::measureReferences(const Object& object, std::uint32_t depth, Measure& sum) {
  for (std::uint64_t i = 0; i < object.referenceCount; ++i) {
    const std::uint64_t index =
        number(object.referencesAt + i * referenceWidth_, referenceWidth_).value_or(measures_.size());
    if (!measure(index, depth + 1)) return false;
    sum.height = std::max(sum.height, measures_[index].height + 1);
    sum.cost += measures_[index].cost;
    if (sum.cost > kMaximumPlistCost) return fail("it would take too much memory");
  }
  return true;
}

std::optional<BinaryPropertyListCheck::Object> BinaryPropertyListCheck::objectAt(std::uint64_t offset) const {
  if (offset < kMagic.size() || offset >= offsetTable_) return std::nullopt;
  const auto marker = std::to_integer<unsigned>(bytes_[offset]);
  const unsigned type = marker >> 4;
  const unsigned low = marker & 0xf;
  if (type == 0x0) return Object{};
  if (type == 0x1 && low <= 4) return Object{std::uint64_t{1} << low, 0, 0};
  if (type == 0x2 && (low == 2 || low == 3)) return Object{std::uint64_t{1} << low, 0, 0};
  if (marker == 0x33) return Object{8, 0, 0};
  if (type == 0x8) return Object{low + 1, 0, 0};
  if (low != 0xf) return sizedObject(type, low, offset + 1);
  const unsigned widthMarker = offset + 1 < offsetTable_ ? std::to_integer<unsigned>(bytes_[offset + 1]) : 0;
  if (widthMarker >> 4 != 0x1 || (widthMarker & 0xf) > 3) return std::nullopt;
  const std::uint64_t width = std::uint64_t{1} << (widthMarker & 0xf);
  const auto count = number(offset + 2, width);
  return count ? sizedObject(type, *count, offset + 2 + width) : std::nullopt;
}

std::optional<BinaryPropertyListCheck::Object> BinaryPropertyListCheck::sizedObject(
    unsigned type, std::uint64_t count, std::uint64_t contentAt) const {
  std::uint64_t width = 0;
  if (type == 0x4 || type == 0x5) width = 1;  // data, text in ASCII
  if (type == 0x6) width = 2;                 // text in UTF-16
  if (type == 0xa) width = referenceWidth_;   // array
  if (type == 0xd) width = 2 * referenceWidth_;
  if (width == 0 || contentAt > offsetTable_ || count > (offsetTable_ - contentAt) / width)
    return std::nullopt;
  if (type == 0xa) return Object{0, contentAt, count};
  if (type == 0xd) return Object{0, contentAt, 2 * count};
  return Object{2 * width * count, 0, 0};
}

std::optional<std::uint64_t> BinaryPropertyListCheck::number(std::uint64_t offset,
                                                             std::uint64_t width) const {
  if (offset > bytes_.size() || width > bytes_.size() - offset) return std::nullopt;
  std::uint64_t value = 0;
  for (const std::byte byte : bytes_.subspan(offset, width))
    value = value << 8 | std::to_integer<std::uint64_t>(byte);
  return value;
}

bool BinaryPropertyListCheck::fail(const char* reason) {
  if (problem_.empty()) problem_ = reason;
  return false;
}

}  // namespace zelto
