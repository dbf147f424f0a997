#include "framework/manager/ProcessLine.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <fstream>
#include <string_view>

namespace zelto {
namespace {

constexpr std::size_t kMostProcesses = 16;
constexpr std::string_view kPrefix = "process ";

struct ProcessFacts {
  std::string name;
  pid_t process = 0;
  pid_t parent = 0;
};

// Zeros for a thread that has ended.
ProcessFacts factsOf(pid_t thread) {
  ProcessFacts facts;
  std::ifstream status("/proc/" + std::to_string(thread) + "/status");
  std::string key;
  while (facts.parent == 0 && status >> key) {
    if (key == "Name:") status >> facts.name;
    if (key == "Tgid:") status >> facts.process;
    if (key == "PPid:") status >> facts.parent;
    std::getline(status, key);
  }
  return facts;
}

}  // namespace

std::vector<pid_t> processLine(pid_t thread) {
  std::vector<pid_t> line;
  while (thread > 1 && line.size() < kMostProcesses) {
    const ProcessFacts facts = factsOf(thread);
    if (facts.process == 0 || (!line.empty() && facts.name == "systemd")) break;
    line.push_back(facts.process);
    thread = facts.parent;
  }
  return line;
}

std::string askerForProcess(pid_t process) { return std::string(kPrefix) + std::to_string(process); }

bool isAskerThere(const std::string& asker) {
  if (!asker.starts_with(kPrefix)) return true;
  pid_t process = 0;
  std::from_chars(asker.data() + kPrefix.size(), asker.data() + asker.size(), process);
  return process <= 0 || ::kill(process, 0) == 0 || errno != ESRCH;
}

}  // namespace zelto
