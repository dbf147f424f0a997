#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

#include "platform/messaging/DescriptorSocket.h"
#include "platform/messaging/Diagnostics.h"
#include "platform/messaging/Endpoint.h"
#include "platform/messaging/ListenerAcceptance.h"
#include "platform/messaging/NSXPCConnection.h"
#include "platform/messaging/XPCConnection.h"

namespace zelto {

namespace {

bool isStreamSocket(int descriptor) {
  int domain = 0;
  int type = 0;
  socklen_t size = sizeof domain;
  if (::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0) return false;
  size = sizeof type;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && domain == AF_UNIX &&
         type == SOCK_STREAM;
}

// Whether every copy of the endpoint is closed. An empty packet looks like the end otherwise.
bool isAtEnd(int descriptor) {
  pollfd state{.fd = descriptor, .events = POLLIN, .revents = 0};
  return ::poll(&state, 1, 0) < 0 || (state.revents & (POLLHUP | POLLERR)) != 0;
}

class Listener final : public NSXPCListener {
 public:
  Listener(UniqueDescriptor descriptor, const std::shared_ptr<NSXPCListenerEndpoint>& endpoint)
      : descriptor_(std::move(descriptor)), endpoint_(endpoint), acceptance_(endpoint->acceptance()) {}

  void setDelegate(NSXPCListenerDelegate* delegate) override {
    std::scoped_lock lock(mutex_);
    delegate_ = delegate;
  }
  void resume() override {
    std::scoped_lock lock(mutex_);
    if (std::exchange(resumed_, true)) return;
    try {
      std::thread([self = self_.lock()] { self->run(); }).detach();
    } catch (const std::system_error&) {
      printDiagnostic("a listener cannot work: no thread can be made for it");
    }
  }
  std::shared_ptr<NSXPCListenerEndpoint> endpoint() override { return endpoint_.lock(); }

  // The thread must own the listener itself, not the handle that also keeps its endpoint.
  void setSelf(const std::shared_ptr<Listener>& self) { self_ = self; }

 private:
  void run() {
    nameThisThread("xpc.listener");
    while (acceptOne()) {
    }
  }

  // False at the end.
  bool acceptOne() {
    std::uint64_t greeting = 0;
    std::vector<UniqueDescriptor> received;
    auto result = receiveSome(descriptor_.get(), std::as_writable_bytes(std::span(&greeting, 1)), received);
    if (result.count < 0) return false;
    if (result.count == 0 && received.empty() && isAtEnd(descriptor_.get())) return false;
    if (result.count == sizeof greeting && greeting == kConnectGreeting && !result.truncatedDescriptors &&
        received.size() == 1 && isStreamSocket(received[0].get()))
      offer(std::move(received[0]));
    else
      printDiagnostic("a listener received something that is not a request to connect");
    return true;
  }

  void offer(UniqueDescriptor socket) {
    NSXPCListenerDelegate* delegate = nullptr;
    {
      std::scoped_lock lock(mutex_);
      delegate = delegate_;
    }
    std::shared_ptr<NSXPCConnection> connection = XPCConnection::create(std::move(socket));
    if (delegate == nullptr || !delegate->listenerShouldAcceptNewConnection(*this, connection))
      return connection->invalidate();
    acceptance_->accepted();
  }

  const UniqueDescriptor descriptor_;
  const std::weak_ptr<NSXPCListenerEndpoint> endpoint_;
  const std::shared_ptr<ListenerAcceptance> acceptance_;
  std::weak_ptr<Listener> self_;
  std::mutex mutex_;
  NSXPCListenerDelegate* delegate_ = nullptr;
  bool resumed_ = false;
};

// What the maker of a listener holds: it keeps the endpoint, which the listener's thread must not.
struct Handle {
  std::shared_ptr<Listener> listener;
  std::shared_ptr<NSXPCListenerEndpoint> endpoint;
};

}  // namespace

std::shared_ptr<NSXPCListener> NSXPCListener::anonymousListener() {
  // Where the system is out of descriptors the listener stands, but nobody can connect to it.
  auto ends = makeSocketPair(SOCK_SEQPACKET);
  if (!ends) {
    printDiagnostic(ends.error().localizedDescription());
    ends = std::pair<UniqueDescriptor, UniqueDescriptor>();
  }
  auto handle = std::make_shared<Handle>();
  handle->endpoint = std::make_shared<NSXPCListenerEndpoint>(std::move(ends->second),
                                                             std::make_shared<ListenerAcceptance>());
  handle->listener = std::make_shared<Listener>(std::move(ends->first), handle->endpoint);
  handle->listener->setSelf(handle->listener);
  auto* listener = handle->listener.get();
  return std::shared_ptr<NSXPCListener>(std::move(handle), listener);
}

std::expected<std::shared_ptr<NSXPCConnection>, NSError> NSXPCConnection::connectionWithListenerEndpoint(
    const NSXPCListenerEndpoint& endpoint) {
  auto ends = makeSocketPair(SOCK_STREAM);
  if (!ends) return std::unexpected(std::move(ends.error()));
  std::uint64_t greeting = kConnectGreeting;
  iovec piece{.iov_base = &greeting, .iov_len = sizeof greeting};
  auto sent = sendNow(endpoint.descriptor(), std::span(&piece, 1), std::span(&ends->second, 1));
  if (sent < 0)
    return std::unexpected(errorWithPOSIXCode(static_cast<int>(-sent), "The listener cannot be reached"));
  return XPCConnection::create(std::move(ends->first));
}

}  // namespace zelto
