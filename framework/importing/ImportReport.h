#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// How far an import is, as its process tells the one that started it: a line of JSON each.
struct ImportReport {
  std::uint64_t completed = 0, total = 0;  // bytes
  std::uint64_t entries = 0, allEntries = 0;
  bool finished = false;
  std::string message = {};  // a line for people
  std::string error = {};    // of a finished one

  // With the line's end.
  std::string line() const;
  // Nothing for what is no such line.
  static std::optional<ImportReport> ofLine(std::string_view line);

  friend bool operator==(const ImportReport&, const ImportReport&) = default;
};

}  // namespace zelto
