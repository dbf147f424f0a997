#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/foundation/NSError.h"

namespace zelto {

// Hands URLs to the desktop by starting a program with the URL as its only argument.
// THREAD: any.
class UrlOpener {
 public:
  // The program's path, or its name in PATH.
  explicit UrlOpener(std::string command) : command_(std::move(command)) {}
  UrlOpener(const UrlOpener&) = delete;
  UrlOpener& operator=(const UrlOpener&) = delete;

  // Does not wait for the program, which goes on when this one ends. ERRORS: it cannot be started.
  std::optional<NSError> open(const std::string& url);

 private:
  void reapLocked();

  const std::string command_;
  std::mutex mutex_;
  std::vector<pid_t> running_;
};

// The URL that a template ("https://office.example/open?file={path}") gives for a path: percent-encoded but
// for letters, digits, "-._~" and slashes; at the end of a template without "{path}".
std::string urlForPath(const std::string& urlTemplate, const std::string& path);
// Whether a text begins with a scheme and has no spaces or control characters.
bool isUrlTemplate(const std::string& text);

}  // namespace zelto
