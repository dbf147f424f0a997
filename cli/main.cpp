#include <cstdio>
#include <exception>

#include <fmt/format.h>

#include "cli/CommandLine.h"
#include "cli/Commands.h"
#include "cli/Text.h"

namespace zelto::cli {

namespace {

Outcome run(const Invocation& invocation) {
  struct Runner {
    const Invocation& invocation;

    Outcome operator()(const UpOptions& options) const {
      return up(options, invocation.domain, invocation.json);
    }
    Outcome operator()(const DownOptions& options) const { return down(options, invocation.domain); }
    Outcome operator()(const StatusOptions&) const { return status(invocation.domain, invocation.json); }
    Outcome operator()(const ListOptions& options) const {
      return list(options, invocation.domain, invocation.json);
    }
    Outcome operator()(const ItemOptions& options) const {
      return item(options, invocation.domain, invocation.json);
    }
    Outcome operator()(const FetchOptions& options) const { return fetch(options, invocation.domain); }
    Outcome operator()(const EvictOptions& options) const {
      return evict(options, invocation.domain, invocation.json);
    }
    Outcome operator()(const ActionsOptions& options) const {
      return actions(options, invocation.domain, invocation.json);
    }
    Outcome operator()(const DoOptions& options) const { return perform(options, invocation.domain); }
    Outcome operator()(const BadgesOptions& options) const {
      return badges(options, invocation.domain, invocation.json);
    }
    Outcome operator()(const PendingOptions&) const { return pending(invocation.domain, invocation.json); }
    Outcome operator()(const WaitOptions& options) const { return wait(options, invocation.domain); }
    Outcome operator()(const RetryOptions& options) const { return retry(options, invocation.domain); }
    Outcome operator()(const CancelOptions& options) const { return cancel(options, invocation.domain); }
    Outcome operator()(const ImportOptions& options) const { return import(options, invocation.domain); }
    Outcome operator()(const LogOptions& options) const { return log(options, invocation.domain); }
    Outcome operator()(const ModeOptions& options) const { return mode(options, invocation.domain); }
  };
  return std::visit(Runner{invocation}, invocation.command);
}

int runProgram(int argc, char** argv) {
  const auto parsed = parseCommandLine(argc, argv);
  if (const auto* message = std::get_if<Message>(&parsed)) {
    fmt::print(message->code == ExitCode::success ? stdout : stderr, "{}", message->text);
    return static_cast<int>(message->code);
  }
  const Outcome outcome = run(std::get<Invocation>(parsed));
  if (outcome) return 0;
  std::fflush(stdout);
  fmt::print(stderr, "zelto: {}\n", outcome.error().message);
  return static_cast<int>(outcome.error().code);
}

}  // namespace

}  // namespace zelto::cli

int main(int argc, char** argv) {
  try {
    return zelto::cli::runProgram(argc, argv);
  } catch (const std::exception& error) {  // of the libraries, above all when the disk or memory is full
    std::fprintf(stderr, "zelto: %s\n", error.what());
    return static_cast<int>(zelto::cli::ExitCode::failed);
  }
}
