#include "platform/messaging/Diagnostics.h"

#include <cstdio>

#include <fmt/format.h>
#include <pthread.h>

namespace zelto {

void printDiagnostic(std::string_view text) {
  // In one write, so that lines of several threads do not mix.
  auto line = fmt::format("zelto: {}\n", text);
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void nameThisThread(const char* name) { ::pthread_setname_np(::pthread_self(), name); }

}  // namespace zelto
