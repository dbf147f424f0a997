#include "platform/fileprovider/NSExtensionMain.h"

#include <atomic>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include <getopt.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include "framework/domain/Domain.h"
#include "framework/domain/MemoryTrim.h"
#include "framework/importing/ImportProcess.h"
#include "platform/bus/DomainName.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/NSBundle.h"

namespace zelto {
namespace {

constexpr const char* kUsage =
    "usage: %s --domain NAME --mount DIRECTORY [--request-limit MILLISECONDS]\n"
    "       or, as the one that serves a domain calls it: --domain NAME --import DIRECTORY --into "
    "IDENTIFIER\n";

struct Arguments {
  Domain::Settings settings{.domain = {"default", "Zelto"}, .mountPoint = {}};
  ImportArguments import;

  bool imports() const { return !import.source.empty() || !import.destination.empty(); }
  bool complete() const {
    if (!imports()) return !settings.mountPoint.empty();
    return settings.mountPoint.empty() && !import.source.empty() && !import.destination.empty();
  }
};

bool parseLimit(std::string_view text, std::chrono::milliseconds& limit) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value <= 0) return false;
  limit = std::chrono::milliseconds(value);
  return true;
}

std::string absolutePath(const char* path) {
  char* const resolved = ::realpath(path, nullptr);
  if (resolved == nullptr) return path;  // a stale mount cannot be resolved; it is cleared away later
  std::string result = resolved;
  ::free(resolved);
  return result;
}

std::optional<Arguments> parse(int argc, char** argv) {
  Arguments arguments;
  Domain::Settings& settings = arguments.settings;
  const option options[] = {{"domain", required_argument, nullptr, 'd'},
                            {"mount", required_argument, nullptr, 'm'},
                            {"request-limit", required_argument, nullptr, 'l'},
                            {"import", required_argument, nullptr, 'i'},
                            {"into", required_argument, nullptr, 't'},
                            {"singly", no_argument, nullptr, 's'},
                            {nullptr, 0, nullptr, 0}};
  for (int choice = 0; (choice = ::getopt_long(argc, argv, "", options, nullptr)) != -1;) {
    if (choice == 'd') {
      settings.domain.identifier = optarg;
    } else if (choice == 'm') {
      settings.mountPoint = absolutePath(optarg);
    } else if (choice == 'i') {
      arguments.import.source = optarg;
    } else if (choice == 't') {
      arguments.import.destination = optarg;
    } else if (choice == 's') {
      arguments.import.singly = true;
    } else if (choice != 'l' || !parseLimit(optarg, settings.requestLimit)) {
      return std::nullopt;
    }
  }
  if (!arguments.complete() || optind != argc) return std::nullopt;
  return arguments;
}

// A descriptor for each open file, and the usual limit is low.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

// The signals that end the process are taken by one thread; all others have them blocked.
sigset_t blockEndSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, signal);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  return set;
}

void stopAtSignal(Domain& domain, sigset_t set) {
  std::thread([&domain, set] {
    int signal = 0;
    ::sigwait(&set, &signal);
    domain.stop();
  }).detach();
}

// What the bundle says of its extension; "" when it does not.
std::string extensionAttribute(std::string_view key) {
  const PropertyListValue* const extension = NSBundle::mainBundle().infoDictionary().find("NSExtension");
  const NSDictionary* const dictionary = extension != nullptr ? extension->asDictionary() : nullptr;
  const PropertyListValue* const value = dictionary != nullptr ? dictionary->find(key) : nullptr;
  return value != nullptr && value->asString() != nullptr ? *value->asString() : std::string();
}

// The first thread serves the main queue; the volume's loop has a thread of its own.
int runBesideMainQueue(Domain& domain) {
  std::atomic<int> error = 0;
  // Never joined: whoever stops the domain when its loop has just ended still signals this thread.
  auto* const loop = new std::thread([&domain, &error] {
    error = domain.run();
    DispatchQueue::leaveMainQueue();
  });
  ::pthread_setname_np(loop->native_handle(), "volume");
  DispatchQueue::serveMainQueue();
  return error;
}

int serve(const Domain::Settings& settings, const std::string& principalClass) {
  const sigset_t endSignals = blockEndSignals();
  auto domain = Domain::start(settings, principalClass);
  if (!domain) {
    std::fprintf(stderr, "zelto-fileprovider: %s\n", domain.error().localizedDescription().c_str());
    std::_Exit(1);
  }
  stopAtSignal(**domain, endSignals);
  const int error = runBesideMainQueue(**domain);
  if (error != 0) std::fprintf(stderr, "zelto-fileprovider: %s\n", std::strerror(error));
  (*domain)->close();
  // Threads of the extension and the bus may still be at work on the domain's objects.
  std::_Exit(error == 0 ? 0 : 1);
}

}  // namespace

int NSExtensionMain(int argc, char** argv) {
  MemoryTrim::configureAllocator();
  auto arguments = parse(argc, argv);
  if (!arguments) {
    std::fprintf(stderr, kUsage, argv[0]);
    return 2;
  }
  Domain::Settings& settings = arguments->settings;
  if (!isDomainName(settings.domain.identifier)) {
    std::fprintf(stderr, "zelto-fileprovider: %s\n", kDomainNameRule);
    return 2;
  }
  std::signal(SIGPIPE, SIG_IGN);
  raiseDescriptorLimit();
  const std::string principalClass = extensionAttribute("NSExtensionPrincipalClass");
  settings.documentGroup = extensionAttribute("NSExtensionFileProviderDocumentGroup");
  if (principalClass.empty()) {
    std::fprintf(stderr, "zelto-fileprovider: %s/Info.plist names no principal class\n",
                 NSBundle::mainBundle().resourcePath().c_str());
    return 1;
  }
  if (!arguments->imports()) return serve(settings, principalClass);
  std::_Exit(runImport(settings.domain, principalClass, settings.documentGroup, arguments->import));
}

}  // namespace zelto
