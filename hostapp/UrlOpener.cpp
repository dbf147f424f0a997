#include "hostapp/UrlOpener.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstring>
#include <string_view>

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hostapp/BackendErrors.h"

namespace zelto {

namespace {

constexpr std::string_view kPlaceholder = "{path}";

bool isPlain(unsigned char c) {
  return (c < 0x80 && std::isalnum(c) != 0) || std::string_view("-._~/").contains(static_cast<char>(c));
}

// A program begins with no signal blocked or ignored, and in a session of its own.
struct CleanStart {
  CleanStart() {
    ::posix_spawnattr_init(&attributes);
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    ::sigaddset(&signals, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  }
  ~CleanStart() { ::posix_spawnattr_destroy(&attributes); }
  CleanStart(const CleanStart&) = delete;
  CleanStart& operator=(const CleanStart&) = delete;

  posix_spawnattr_t attributes{};
};

}  // namespace

std::optional<NSError> UrlOpener::open(const std::string& url) {
  const CleanStart start;
  std::string program = command_;
  std::string argument = url;
  char* arguments[] = {program.data(), argument.data(), nullptr};
  pid_t child = 0;
  const int code = ::posix_spawnp(&child, program.c_str(), nullptr, &start.attributes, arguments, ::environ);
  if (code != 0) {
    return errorWithPOSIXCode(code,
                              fmt::format("\"{}\" cannot be started: {}", command_, std::strerror(code)));
  }
  const std::lock_guard lock(mutex_);
  reapLocked();
  running_.push_back(child);
  return std::nullopt;
}

void UrlOpener::reapLocked() {
  std::erase_if(running_, [](pid_t child) { return ::waitpid(child, nullptr, WNOHANG) != 0; });
}

std::string urlForPath(const std::string& urlTemplate, const std::string& path) {
  std::string encoded;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    encoded += isPlain(byte) ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  const auto place = urlTemplate.find(kPlaceholder);
  if (place == std::string::npos) return urlTemplate + encoded;
  return std::string(urlTemplate).replace(place, kPlaceholder.size(), encoded);
}

bool isUrlTemplate(const std::string& text) {
  const auto colon = text.find(':');
  if (colon == std::string::npos || colon == 0 || std::isalpha(static_cast<unsigned char>(text[0])) == 0) {
    return false;
  }
  const auto inScheme = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '-' || c == '.';
  };
  return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), inScheme) &&
         std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) <= 0x20; });
}

}  // namespace zelto
