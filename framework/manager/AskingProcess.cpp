#include "framework/manager/AskingProcess.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <fstream>
#include <string_view>

namespace zelto {
namespace {

constexpr std::string_view kPrefix = "process ";

}  // namespace

pid_t processOf(pid_t thread) {
  std::ifstream status("/proc/" + std::to_string(thread) + "/status");
  for (std::string key; status >> key; std::getline(status, key)) {
    pid_t process = 0;
    if (key == "Tgid:") return status >> process ? process : 0;
  }
  return 0;
}

std::string askerForProcess(pid_t process) { return std::string(kPrefix) + std::to_string(process); }

bool isAskerThere(const std::string& asker) {
  if (!asker.starts_with(kPrefix)) return true;
  pid_t process = 0;
  std::from_chars(asker.data() + kPrefix.size(), asker.data() + asker.size(), process);
  return process <= 0 || ::kill(process, 0) == 0 || errno != ESRCH;
}

}  // namespace zelto
