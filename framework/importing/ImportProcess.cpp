#include "framework/importing/ImportProcess.h"

#include <cerrno>
#include <cstdio>
#include <thread>

#include <unistd.h>

#include "framework/domain/GroupDirectory.h"
#include "framework/importing/ImportEndpoint.h"
#include "framework/importing/ImportJob.h"
#include "platform/fileprovider/NSExtensionMain.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/Path.h"

namespace zelto {
namespace {

constexpr std::chrono::milliseconds kHostLimit{10'000};

void endWithStandardInput() {
  std::thread([] {
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) > 0 || errno == EINTR) {
    }
    std::_Exit(1);
  }).detach();
}

void tell(const ImportReport& report) {
  const std::string line = report.line();
  for (std::size_t done = 0; done < line.size();) {
    const ssize_t written = ::write(STDOUT_FILENO, line.data() + done, line.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) std::_Exit(1);  // nobody listens any more
    done += static_cast<std::size_t>(written);
  }
}

int fail(const std::string& error) {
  ImportReport report;
  report.finished = true;
  report.error = error;
  tell(report);
  return 1;
}

// Everything of this process goes but its number and its pipes: threads that wait for ever, the connection.
int startAnew(const NSFileProviderDomain& domain, const ImportArguments& arguments) {
  ::execl("/proc/self/exe", "zelto-fileprovider", "--domain", domain.identifier.c_str(), "--import",
          arguments.source.c_str(), "--into", arguments.destination.c_str(), "--singly", nullptr);
  return fail("the import cannot be started anew");
}

}  // namespace

std::string importFolder(const std::string& groupDirectory, const std::string& domain) {
  return groupDirectory + "/import-" + domain;
}

int runImport(const NSFileProviderDomain& domain, const std::string& principalClass,
              const std::string& documentGroup, const ImportArguments& arguments) {
  endWithStandardInput();
  const auto group =
      NSFileManager::defaultManager().containerURLForSecurityApplicationGroupIdentifier(documentGroup);
  if (!group) return fail("the group directory cannot be made");
  const GroupDirectory joined(group->path());
  auto bus = SessionBus::connect();
  if (!bus) return fail(bus.error().localizedDescription());
  const auto extension = NSClassRegistry::make(principalClass, domain);
  if (!extension) return fail("no principal class named " + principalClass);
  // Not destroyed: threads of the extension and of the bus may be at work on them when the process ends.
  auto& deadlines = *new Deadlines();
  auto& endpoint = *new ImportEndpoint(*extension, deadlines, *std::move(bus));
  if (const auto error = endpoint.start(domain.identifier)) return fail(error->localizedDescription());
  if (!endpoint.waitForHost(arguments.destination, kHostLimit))
    return fail("no host application is connected");
  const auto before = endpoint.losses();
  ImportJob job(*extension,
                {arguments.source,
                 {arguments.destination, lastPathComponent(arguments.source)},
                 importFolder(group->path(), domain.identifier),
                 arguments.singly},
                tell, [&endpoint, before] { return endpoint.losses() == before; }, {});
  const auto end = job.run();
  if (end == ImportJob::End::startAnew) return startAnew(domain, arguments);
  return end == ImportJob::End::done ? 0 : 1;
}

}  // namespace zelto
