#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/NSError.h"

namespace zelto {

class NSXPCListenerEndpoint;

// A service that an extension offers to its containing application.
class NSFileProviderServiceSource {
 public:
  virtual ~NSFileProviderServiceSource() = default;
  virtual std::string serviceName() const = 0;
  // A new endpoint for each call; null with `error` set on failure.
  virtual std::shared_ptr<NSXPCListenerEndpoint> makeListenerEndpointAndReturnError(
      std::optional<NSError>* error) = 0;
};

}  // namespace zelto
