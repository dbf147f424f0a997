#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zelto::cli {

// How the user called us, for hints: ZELTO_COMMAND (set by the start script), else "zelto".
std::string programName();
// The text as one word of a shell's command line.
std::string shellQuoted(std::string_view text);
// "0 B", "1.5 KiB", "12 MiB".
std::string byteCount(std::uint64_t bytes);
// Local time, "2024-03-05 14:07".
std::string localTime(double secondsSince1970);
// The text with control characters replaced by "?": names come from elsewhere, and a terminal obeys them.
std::string printable(std::string_view text);

}  // namespace zelto::cli
