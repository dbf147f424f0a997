#include "framework/propagation/ConflictName.h"

#include <regex>

#include <fmt/format.h>

namespace zelto {
namespace {

constexpr std::size_t kLongestName = 255;  // bytes

// Longer endings are no file types.
constexpr std::size_t kLongestEnding = 16;

// The ending with its dot, "" for none. A leading dot begins a hidden file's name and no ending.
std::string_view endingOf(std::string_view name) {
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot > kLongestEnding) return {};
  return name.substr(dot);
}

std::string_view withoutEarlierAddition(std::string_view stem) {
  static const std::regex kAddition(R"( \(conflict \d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d( \d+)?\)$)");
  std::match_results<std::string_view::const_iterator> match;
  if (!std::regex_search(stem.begin(), stem.end(), match, kAddition)) return stem;
  return stem.substr(0, static_cast<std::size_t>(match.position()));
}

std::string_view cutTo(std::string_view text, std::size_t length) {
  if (text.size() <= length) return text;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0U) == 0x80U) --length;
  return text.substr(0, length);
}

}  // namespace

std::string conflictName(std::string_view name, bool folder, const std::tm& time, unsigned count) {
  const std::string_view ending = folder ? std::string_view() : endingOf(name);
  std::string addition = fmt::format(" (conflict {:04}-{:02}-{:02} {:02}.{:02}.{:02}", time.tm_year + 1900,
                                     time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
  addition += count > 1 ? fmt::format(" {})", count) : ")";
  const std::string_view stem = withoutEarlierAddition(name.substr(0, name.size() - ending.size()));
  const std::size_t room = kLongestName - addition.size() - ending.size();
  return std::string(cutTo(stem, room)) + addition + std::string(ending);
}

}  // namespace zelto
