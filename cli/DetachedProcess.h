#pragma once

#include <expected>
#include <string>
#include <vector>

#include "cli/Outcome.h"
#include "cli/ProcessIdentity.h"

namespace zelto::cli {

struct DetachedProcess {
  std::string program;
  std::vector<std::string> arguments;    // without the program itself
  std::vector<std::string> environment;  // "NAME=value", beside what we have ourselves
  std::string outputFile;                // standard output and error are appended to it
};

// Starts a program in a session of its own, in "/", with no descriptor of ours and nothing to read.
// ERRORS: the program or its output file cannot be opened.
std::expected<ProcessIdentity, Failure> startDetached(const DetachedProcess& process);

// The folder of the running program's file, where its companions lie.
std::string programFolder();

}  // namespace zelto::cli
