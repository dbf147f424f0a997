#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

class NSXPCConnection;

// One side's protocol on the wire: how a remote proxy of it is made and how incoming calls of it reach
// the exported object. Made by whoever defines the protocol.
class NSXPCInterface;

class ListenerAcceptance;

// The right to connect to an anonymous listener: a descriptor that can be sent to another process. Any
// number of connections can be made through one endpoint.
class NSXPCListenerEndpoint {
 public:
  explicit NSXPCListenerEndpoint(UniqueDescriptor descriptor,
                                 std::shared_ptr<ListenerAcceptance> acceptance = nullptr)
      : descriptor_(std::move(descriptor)), acceptance_(std::move(acceptance)) {}

  // OWNER: the endpoint keeps its descriptor; callers duplicate what they pass on.
  int descriptor() const { return descriptor_.get(); }
  // Whether the listener has taken a connection in; null where the listener is another process's.
  const std::shared_ptr<ListenerAcceptance>& acceptance() const { return acceptance_; }

 private:
  UniqueDescriptor descriptor_;
  std::shared_ptr<ListenerAcceptance> acceptance_;
};

class NSXPCListener;

class NSXPCListenerDelegate {
 public:
  virtual ~NSXPCListenerDelegate() = default;
  // Called on the listener's own thread. True accepts; the connection must have been resumed by then.
  virtual bool listenerShouldAcceptNewConnection(NSXPCListener& listener,
                                                 const std::shared_ptr<NSXPCConnection>& newConnection) = 0;
};

// An anonymous listener. Once resumed it lives for as long as anybody holds a copy of its endpoint's
// descriptor, whether or not this object is kept.
class NSXPCListener {
 public:
  static std::shared_ptr<NSXPCListener> anonymousListener();
  virtual ~NSXPCListener() = default;
  // OWNER: not the listener; the delegate outlives it (it is a process-wide singleton).
  virtual void setDelegate(NSXPCListenerDelegate* delegate) = 0;
  virtual void resume() = 0;
  // The same endpoint each time; null once nobody holds it any more, when the listener has ended.
  virtual std::shared_ptr<NSXPCListenerEndpoint> endpoint() = 0;
};

// A connection between two processes with an interface in each direction. Replies and incoming calls are
// delivered on the connection's own thread, one after the other. A connection stays alive while its peer
// does, once resumed, and while a proxy of it is held.
class NSXPCConnection {
 public:
  // ERRORS: the listener is gone.
  static std::expected<std::shared_ptr<NSXPCConnection>, NSError> connectionWithListenerEndpoint(
      const NSXPCListenerEndpoint& endpoint);
  virtual ~NSXPCConnection() = default;

  // REQUIRES: all three before resume.
  virtual void setExportedInterface(std::shared_ptr<NSXPCInterface> interface) = 0;
  // OWNER: shared with the connection. For a process-wide singleton pass a non-owning pointer.
  // REQUIRES: converted from a pointer to the protocol's own class, which is not the same address as the
  // object where it has several bases: setExportedObject(std::shared_ptr<Protocol>({}, &object)).
  virtual void setExportedObject(std::shared_ptr<void> object) = 0;
  virtual void setRemoteObjectInterface(std::shared_ptr<NSXPCInterface> interface) = 0;
  // Called once on the connection's thread when the peer is gone or broke the protocol. Optional.
  virtual void setInvalidationHandler(std::move_only_function<void()> handler) = 0;
  virtual void resume() = 0;
  // Ends the connection from this side; outstanding replies never run.
  virtual void invalidate() = 0;

  // The remote object, as the class that the remote interface's factory makes. Calls on it return at
  // once; on a dead connection they do nothing and their replies never run.
  template <typename Protocol>
  std::shared_ptr<Protocol> remoteObjectProxy() {
    return std::static_pointer_cast<Protocol>(makeRemoteObjectProxy());
  }

 protected:
  virtual std::shared_ptr<void> makeRemoteObjectProxy() = 0;
};

}  // namespace zelto
