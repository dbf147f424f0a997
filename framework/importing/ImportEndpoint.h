#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "framework/requests/HostLink.h"
#include "platform/bus/SessionBus.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// What a host application needs of a process that imports for a domain: an object on the bus, as the domain's
// manager is one, with the way to the extension's service and nothing else.
class ImportEndpoint {
 public:
  ImportEndpoint(NSFileProviderPrincipal& extension, Deadlines& deadlines, std::shared_ptr<SessionBus> bus);

  // ERRORS: another process imports for this domain.
  std::optional<NSError> start(const std::string& domain);
  // Waits for a host, and for the extension to have taken its connection: a host can tell that it is ready
  // earlier, and what is asked of the extension until then is lost. So it is asked for a folder's listing
  // until that is answered. BLOCKS: at most so long, or longer while a listing is under way. False when
  // nothing has answered.
  bool waitForHost(const std::string& folder, std::chrono::milliseconds limit);
  // Grows whenever a host is lost.
  std::uint64_t losses() const { return losses_; }

 private:
  void serviceEndpoint(const BusMethodCall& call, BusReply reply);
  bool waitForLink(Deadlines::Clock::time_point end);
  void watchPeer(const std::string& peer);

  NSFileProviderPrincipal& extension_;
  const std::shared_ptr<SessionBus> bus_;
  HostLink link_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::atomic<std::uint64_t> losses_ = 0;
  std::shared_ptr<void> watch_;
};

}  // namespace zelto
