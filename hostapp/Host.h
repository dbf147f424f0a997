#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "hostapp/HostControl.h"
#include "hostapp/HostOptions.h"
#include "hostapp/HostService.h"
#include "hostapp/LocalFolderBackend.h"
#include "hostapp/ProviderConnector.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The host application of one domain, put together.
// THREAD: one thread makes and destroys it.
class Host {
 public:
  // `shutdown` is called, on any thread, when the bus asks for the end.
  // ERRORS: a folder that cannot be served, no bus, a second host for the domain, no place for the store.
  static std::expected<std::unique_ptr<Host>, NSError> start(const HostOptions& options,
                                                             std::function<void()> shutdown);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

 private:
  Host() = default;
  std::optional<NSError> open(const HostOptions& options);
  void makeConnector();
  std::optional<NSError> makeControl(std::function<void()> shutdown);
  void applyOptions(const HostOptions& options);
  void setMode(HostMode mode);
  std::string status() const;
  std::string lastNotice() const;
  std::unique_ptr<ProviderConnector> connectorTo(const std::string& domain, std::uint64_t firstConnection);

  std::string folder_;
  std::string domain_;
  UniqueDescriptor lock_;  // on the state directory: one host for a domain
  std::shared_ptr<LogFile> log_;
  std::shared_ptr<HostStore> store_;
  std::shared_ptr<HiddenPlaces> hidden_;
  std::shared_ptr<LocalFolderBackend> backend_;
  std::shared_ptr<HostParts> parts_;
  std::shared_ptr<SessionBus> bus_;
  std::unique_ptr<ProviderConnector> connector_;
  std::unique_ptr<ProviderConnector> importConnector_;  // to a second process, while it imports
  std::unique_ptr<HostControl> control_;
};

}  // namespace zelto
