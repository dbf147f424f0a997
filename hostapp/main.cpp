#include <csignal>
#include <cstdio>

#include <malloc.h>
#include <unistd.h>

#include "hostapp/Host.h"

namespace {

// Large listings are built and freed again and again: without these the allocator gives their memory back
// each time, and keeps it once for each thread.
void tuneAllocator() {
  ::mallopt(M_ARENA_MAX, 2);
  ::mallopt(M_TRIM_THRESHOLD, 64 << 20);
}

int serve(const zelto::HostOptions& options, const sigset_t& ends) {
  auto host = zelto::Host::start(options, [] { ::kill(::getpid(), SIGTERM); });
  if (!host) {
    std::fprintf(stderr, "zelto-host: %s\n", host.error().localizedDescription().c_str());
    return 1;
  }
  int number = 0;
  ::sigwait(&ends, &number);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = zelto::HostOptions::parse(argc, argv);
  if (!options) {
    std::fprintf(stderr, "zelto-host: %s\n", options.error().c_str());
    return 2;
  }
  if (options->help) {
    std::fputs(zelto::HostOptions::usage(), stdout);
    return 0;
  }
  tuneAllocator();
  // Every thread inherits the mask; the first one waits for the end.
  sigset_t ends;
  ::sigemptyset(&ends);
  ::sigaddset(&ends, SIGTERM);
  ::sigaddset(&ends, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  ::signal(SIGPIPE, SIG_IGN);
  return serve(*options, ends);
}
