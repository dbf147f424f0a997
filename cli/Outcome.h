#pragma once

#include <expected>
#include <string>

namespace zelto::cli {

// The exit codes of the program; docs/ERRORS.md explains them to users.
enum class ExitCode : int {
  success = 0,
  failed = 1,
  usage = 2,
  notRunning = 3,
  conflict = 4,  // something else stands where we should: another mount, another folder
  timedOut = 5,
  interrupted = 130,
};

// Why a command did not do what it was asked; the message says what to do next.
struct Failure {
  ExitCode code = ExitCode::failed;
  std::string message;
};

using Outcome = std::expected<void, Failure>;

inline std::unexpected<Failure> failure(ExitCode code, std::string message) {
  return std::unexpected(Failure{code, std::move(message)});
}

}  // namespace zelto::cli
