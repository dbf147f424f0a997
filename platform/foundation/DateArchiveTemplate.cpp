#include "platform/foundation/DateArchiveTemplate.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "platform/foundation/ArchiveWriter.h"

namespace zelto {
namespace {

// A date that no float holds and whose bytes occur nowhere else in an archive.
constexpr double kPlaceholder = -0x1.9a5c3e71d2b4fp-97;

using DateBytes = std::array<std::byte, sizeof(double)>;

DateBytes bigEndianBytes(double value) {
  DateBytes bytes;
  auto bits = std::bit_cast<std::uint64_t>(value);
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, bits >>= 8) *byte = std::byte(bits & 0xff);
  return bytes;
}

// A real that loses nothing as a float takes four bytes in the archive.
bool takesEightBytes(double value) {
  return std::isfinite(value) && std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max()) &&
         static_cast<double>(static_cast<float>(value)) != value;
}

}  // namespace

DateArchiveTemplate& DateArchiveTemplate::shared() {
  static DateArchiveTemplate instance;
  return instance;
}

std::optional<NSData> DateArchiveTemplate::archive(const NSDictionary& dictionary) {
  if (dictionary.size() != 1) return std::nullopt;
  const auto& [key, value] = *dictionary.begin();
  const auto* date = value.asDate();
  if (date == nullptr || !takesEightBytes(date->timeIntervalSinceReferenceDate())) return std::nullopt;
  const auto pattern = templateFor(key.name());
  if (pattern == nullptr) return std::nullopt;
  const auto source = pattern->archive.bytes();
  std::vector<std::byte> bytes(source.begin(), source.end());
  const auto dateBytes = bigEndianBytes(date->timeIntervalSinceReferenceDate());
  std::ranges::copy(dateBytes, bytes.begin() + static_cast<std::ptrdiff_t>(pattern->dateOffset));
  return NSData(std::move(bytes));
}

std::shared_ptr<const DateArchiveTemplate::Template> DateArchiveTemplate::templateFor(std::string_view key) {
  {
    const std::scoped_lock lock(mutex_);
    if (latest_ != nullptr && latest_->key == key) return latest_;
  }
  auto made = makeTemplate(key);
  const std::scoped_lock lock(mutex_);
  return latest_ = std::move(made);
}

std::shared_ptr<const DateArchiveTemplate::Template> DateArchiveTemplate::makeTemplate(std::string_view key) {
  auto archive = ArchiveWriter::archive({{key, NSDate::sinceReferenceDate(kPlaceholder)}});
  if (!archive) return nullptr;
  const auto found = std::ranges::search(archive->bytes(), bigEndianBytes(kPlaceholder));
  if (found.empty()) return nullptr;
  const auto offset = static_cast<std::size_t>(found.begin() - archive->bytes().begin());
  return std::make_shared<const Template>(Template{std::string(key), std::move(*archive), offset});
}

}  // namespace zelto
