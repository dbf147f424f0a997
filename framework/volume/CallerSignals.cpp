#include "framework/volume/CallerSignals.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

namespace zelto {
namespace {

constexpr std::uint64_t bit(int signal) { return std::uint64_t{1} << (signal - 1); }

constexpr std::uint64_t kEndingSignals =
    bit(SIGINT) | bit(SIGQUIT) | bit(SIGTERM) | bit(SIGHUP) | bit(SIGKILL);

std::uint64_t hexadecimal(const std::string& line, std::size_t from) {
  return std::strtoull(line.c_str() + from, nullptr, 16);
}

}  // namespace

bool isAskedToEnd(pid_t thread) {
  std::ifstream status("/proc/" + std::to_string(thread) + "/status");
  if (thread <= 0 || !status) return true;
  std::uint64_t pending = 0;
  std::uint64_t ignored = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigPnd:") || line.starts_with("ShdPnd:")) pending |= hexadecimal(line, 7);
    if (line.starts_with("SigIgn:")) ignored = hexadecimal(line, 7);
  }
  return (pending & ~ignored & kEndingSignals) != 0;
}

}  // namespace zelto
