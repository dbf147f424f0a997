#include <filesystem>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/LogTail.h"
#include "cli/RunRecord.h"
#include "cli/Survey.h"

namespace zelto::cli {

Outcome log(const LogOptions& options, const NamedDomain& named) {
  const std::string path = logFile(chosenDomain(named));
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !options.follow) {
    return failure(ExitCode::failed, fmt::format("There is no log yet: {} does not exist.", path));
  }
  for (const std::string& line : lastLines(path, options.lines)) fmt::print("{}\n", line);
  if (!options.follow) return {};
  std::fflush(stdout);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  return followFile(path, [](std::string_view text) {
    fmt::print("{}", text);
    return std::fflush(stdout) == 0;
  });
}

}  // namespace zelto::cli
