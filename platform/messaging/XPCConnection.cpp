#include "platform/messaging/XPCConnection.h"

#include <system_error>
#include <thread>
#include <utility>

#include "platform/messaging/Diagnostics.h"
#include "platform/messaging/FrameReader.h"

namespace zelto {

std::shared_ptr<XPCConnection> XPCConnection::create(UniqueDescriptor socket, WriterLimits limits) {
  // The writer is made first; it finds the connection through a slot that is filled once there is one.
  auto slot = std::make_shared<std::weak_ptr<XPCConnection>>();
  auto failed = [slot](const std::string& reason) {
    if (auto connection = slot->lock()) connection->fail(reason);
  };
  auto writer = std::make_shared<FrameWriter>(std::make_shared<UniqueDescriptor>(std::move(socket)),
                                              std::move(failed), limits);
  std::shared_ptr<XPCConnection> connection(new XPCConnection(std::move(writer)));
  *slot = connection;
  return connection;
}

XPCConnection::~XPCConnection() { writer_->close(); }

void XPCConnection::setExportedInterface(std::shared_ptr<NSXPCInterface> interface) {
  std::scoped_lock lock(mutex_);
  setup_.exported = std::move(interface);
}

void XPCConnection::setExportedObject(std::shared_ptr<void> object) {
  std::scoped_lock lock(mutex_);
  setup_.object = std::move(object);
}

void XPCConnection::setRemoteObjectInterface(std::shared_ptr<NSXPCInterface> interface) {
  std::scoped_lock lock(mutex_);
  setup_.remote = std::move(interface);
}

void XPCConnection::setInvalidationHandler(std::move_only_function<void()> handler) {
  std::scoped_lock lock(mutex_);
  if (phase_.load() != Phase::ended) invalidationHandler_.swap(handler);
}

void XPCConnection::resume() {
  auto idle = Phase::idle;
  if (!phase_.compare_exchange_strong(idle, Phase::open)) return;
  auto socket = writer_->socket();
  if (!socket) return;
  Setup setup;
  {
    std::scoped_lock lock(mutex_);
    setup = setup_;
  }
  writer_->write({.kind = FrameKind::hello,
                  .message = helloMessage(setup.exported ? setup.exported->version() : 0,
                                          setup.remote ? setup.remote->version() : 0)});
  try {
    std::thread([self = shared_from_this(), socket, setup = std::move(setup)]() mutable {
      self->run(std::exchange(socket, nullptr), setup);
    }).detach();
  } catch (const std::system_error&) {
    fail("no thread can be made for it");
  }
}

void XPCConnection::run(const std::shared_ptr<UniqueDescriptor>& socket, const Setup& setup) {
  nameThisThread("xpc.connection");
  readFrames(socket->get(), setup);
  // An end that we asked for has taken the handler away.
  phase_.store(Phase::ended);
  release();
  std::move_only_function<void()> handler;
  {
    std::scoped_lock lock(mutex_);
    handler.swap(invalidationHandler_);
  }
  if (handler) handler();
}

void XPCConnection::readFrames(int socket, const Setup& setup) {
  FrameReader reader(socket);
  bool greeted = false;
  while (isOpen()) {
    auto frame = reader.next();
    if (!frame) return fail(frame.error());
    if (!*frame) return;
    auto violation = greeted ? receive(**frame, setup) : receiveHello(**frame, setup);
    if (violation) return fail(*violation);
    greeted = true;
  }
}

void XPCConnection::fail(const std::string& reason) {
  if (phase_.exchange(Phase::ended) == Phase::ended) return;
  printDiagnostic("a connection is closed: " + reason);
  release();
}

void XPCConnection::invalidate() {
  phase_.store(Phase::ended);
  std::move_only_function<void()> handler;
  {
    std::scoped_lock lock(mutex_);
    handler.swap(invalidationHandler_);
  }
  release();
}

// Everything that waits is destroyed here, with no lock held: completions may own anything.
void XPCConnection::release() {
  writer_->close();
  auto calls = outgoing_.close();
  incoming_.close();
  Setup setup;
  {
    std::scoped_lock lock(mutex_);
    setup.object.swap(setup_.object);
    setup.exported.swap(setup_.exported);
  }
}

std::shared_ptr<void> XPCConnection::makeRemoteObjectProxy() {
  std::shared_ptr<NSXPCInterface> remote;
  {
    std::scoped_lock lock(mutex_);
    remote = setup_.remote;
  }
  return remote ? remote->makeProxy(shared_from_this()) : nullptr;
}

}  // namespace zelto
