// The service source side: how the host application comes to be connected.
#include <unistd.h>

#include "host/ZeltoFileProviderClient.h"
#include "host/wire/Interfaces.h"
#include "support/FileProviderLogger.h"

namespace zelto {

std::string ZeltoFileProviderClient::serviceName() const { return std::string(kFileProviderServiceName); }

std::shared_ptr<NSXPCListenerEndpoint> ZeltoFileProviderClient::makeListenerEndpointAndReturnError(
    std::optional<NSError>*) {
  FileProviderLogger::instance().logDebug("FP[Client] Creating listener");
  // Not kept: a listener lives as long as its endpoint does.
  const auto listener = NSXPCListener::anonymousListener();
  listener->setDelegate(this);
  listener->resume();
  return listener->endpoint();
}

bool ZeltoFileProviderClient::listenerShouldAcceptNewConnection(
    NSXPCListener&, const std::shared_ptr<NSXPCConnection>& newConnection) {
  FileProviderLogger::instance().logDebug("FP[Client] Accepting new connection");
  newConnection->setExportedInterface(fileProviderClientInterface());
  // Not owned: this object lives as long as the process.
  newConnection->setExportedObject(
      std::shared_ptr<ZeltoFileProviderClientInterface>(std::shared_ptr<void>(), this));
  newConnection->setRemoteObjectInterface(fileProviderServerInterface());
  newConnection->resume();
  setServer(newConnection->remoteObjectProxy<ZeltoFileProviderServerInterface>());
  return true;
}

std::shared_ptr<NSXPCInterface> ZeltoFileProviderClient::fileProviderServerInterface() {
  return makeServerInterface();
}

std::shared_ptr<NSXPCInterface> ZeltoFileProviderClient::fileProviderClientInterface() {
  return makeClientInterface();
}

std::int32_t ZeltoFileProviderClient::pid() {
  if (pid_ == 0) pid_ = ::getpid();
  return pid_;
}

}  // namespace zelto
