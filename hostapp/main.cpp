#include <csignal>
#include <cstdio>

#include <fcntl.h>
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

// In the child: goes on as a process of its own. In the parent: does not return; exits once the child has
// said through the pipe whether it serves.
int detach() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return -1;
  const pid_t child = ::fork();
  if (child < 0) return -1;
  if (child == 0) {
    ::close(ends[0]);
    ::setsid();
    return ends[1];
  }
  ::close(ends[1]);
  char ready = 0;
  const bool serves = ::read(ends[0], &ready, 1) == 1;
  ::_exit(serves ? 0 : 1);
}

void reportReady(int descriptor) {
  if (descriptor < 0) return;
  const char ready = 1;
  [[maybe_unused]] const auto written = ::write(descriptor, &ready, 1);
  ::close(descriptor);
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int standard = 0; standard <= 2; ++standard) ::dup2(null, standard);
}

int serve(const zelto::HostOptions& options, const sigset_t& ends) {
  const int parent = options.foreground ? -1 : detach();
  auto host = zelto::Host::start(options, [] { ::kill(::getpid(), SIGTERM); });
  if (!host) {
    std::fprintf(stderr, "zelto-host: %s\n", host.error().localizedDescription().c_str());
    return 1;
  }
  reportReady(parent);
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
