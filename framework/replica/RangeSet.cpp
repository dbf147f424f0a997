#include "framework/replica/RangeSet.h"

#include <algorithm>
#include <limits>

namespace zelto {
namespace {

// A range whose end would not fit is cut at the last offset there is.
std::uint64_t endOf(NSRange range) {
  const auto most = std::numeric_limits<std::uint64_t>::max();
  return range.length > most - range.location ? most : range.end();
}

void putNumber(std::string& to, std::uint64_t value) {
  for (; value >= 0x80; value >>= 7) to.push_back(static_cast<char>(value | 0x80));
  to.push_back(static_cast<char>(value));
}

bool takeNumber(std::string_view& from, std::uint64_t& value) {
  value = 0;
  for (unsigned shift = 0; shift < 64 && !from.empty(); shift += 7) {
    const auto byte = static_cast<std::uint8_t>(from.front());
    from.remove_prefix(1);
    if (shift == 63 && byte > 1) return false;
    value |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
    if (byte < 0x80) return true;
  }
  return false;
}

}  // namespace

void RangeSet::add(NSRange range) {
  if (range.length == 0) return;
  std::uint64_t start = range.location, end = endOf(range);
  auto at = ends_.upper_bound(start);
  if (at != ends_.begin() && std::prev(at)->second >= start) --at;
  while (at != ends_.end() && at->first <= end) {
    start = std::min(start, at->first);
    end = std::max(end, at->second);
    at = ends_.erase(at);
  }
  ends_.emplace(start, end);
}

bool RangeSet::covers(NSRange range) const {
  if (range.length == 0) return true;
  const auto next = ends_.upper_bound(range.location);
  return next != ends_.begin() && std::prev(next)->second >= endOf(range);
}

std::vector<NSRange> RangeSet::missing(NSRange range) const {
  std::vector<NSRange> gaps;
  std::uint64_t at = range.location;
  const std::uint64_t end = endOf(range);
  auto next = ends_.upper_bound(at);
  if (next != ends_.begin()) at = std::max(at, std::prev(next)->second);
  for (; at < end; ++next) {
    const std::uint64_t gapEnd = next == ends_.end() ? end : std::min(end, next->first);
    if (gapEnd > at) gaps.push_back({at, gapEnd - at});
    if (next == ends_.end()) break;
    at = next->second;
  }
  return gaps;
}

std::uint64_t RangeSet::totalLength() const {
  std::uint64_t total = 0;
  for (const auto& [location, end] : ends_) total += end - location;
  return total;
}

std::vector<NSRange> RangeSet::ranges() const {
  std::vector<NSRange> all;
  all.reserve(ends_.size());
  for (const auto& [location, end] : ends_) all.push_back({location, end - location});
  return all;
}

// Each range as the gap before it and its length, as numbers of seven bits a byte.
std::string RangeSet::encoded() const {
  std::string bytes;
  std::uint64_t before = 0;
  for (const auto& [location, end] : ends_) {
    putNumber(bytes, location - before);
    putNumber(bytes, end - location);
    before = end;
  }
  return bytes;
}

RangeSet RangeSet::decoded(std::string_view bytes) {
  RangeSet set;
  std::uint64_t before = 0;
  while (!bytes.empty()) {
    std::uint64_t gap = 0, length = 0;
    if (!takeNumber(bytes, gap) || !takeNumber(bytes, length)) return {};
    const auto most = std::numeric_limits<std::uint64_t>::max();
    if (length == 0 || gap > most - before || length > most - before - gap) return {};
    if (gap == 0 && !set.empty()) return {};
    before += gap + length;
    set.ends_.emplace_hint(set.ends_.end(), before - length, before);
  }
  return set;
}

}  // namespace zelto
