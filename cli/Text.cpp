#include "cli/Text.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace zelto::cli {

std::string programName() {
  const char* name = std::getenv("ZELTO_COMMAND");
  return name == nullptr || *name == '\0' ? "zelto" : name;
}

std::string shellQuoted(std::string_view text) {
  const auto plain = [](unsigned char c) {
    return c >= 0x80 || std::isalnum(c) != 0 || std::string_view("/._-+,:@%").contains(static_cast<char>(c));
  };
  if (!text.empty() && std::ranges::all_of(text, plain)) return std::string(text);
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string byteCount(std::uint64_t bytes) {
  constexpr std::array kUnits{"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  std::size_t unit = 0;
  double value = static_cast<double>(bytes);
  while (value >= 1024 && unit + 1 < kUnits.size()) {
    value /= 1024;
    ++unit;
  }
  return unit == 0 || value >= 10 ? fmt::format("{:.0f} {}", value, kUnits[unit])
                                  : fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string localTime(double secondsSince1970) {
  const auto seconds = static_cast<std::time_t>(std::clamp(secondsSince1970, -1e11, 1e11));
  std::tm parts{};
  if (::localtime_r(&seconds, &parts) == nullptr) return "?";
  return fmt::format("{:%Y-%m-%d %H:%M}", parts);
}

std::string printable(std::string_view text) {
  std::string result(text);
  std::ranges::replace_if(
      result, [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
  return result;
}

}  // namespace zelto::cli
