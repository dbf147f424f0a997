#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// The framework's main routine for an extension process: reads the principal class from the bundle's
// property list, makes one instance for the domain and serves until told to end. Returns the exit code.
int NSExtensionMain(int argc, char** argv);

// Principal classes by name.
class NSClassRegistry {
 public:
  using Factory = std::function<std::shared_ptr<NSFileProviderPrincipal>(const NSFileProviderDomain&)>;

  // Registers a class before main runs: a static object beside the class's definition.
  struct Registration {
    Registration(const char* name, Factory factory);
  };

  // Null for an unknown name.
  static std::shared_ptr<NSFileProviderPrincipal> make(const std::string& name,
                                                       const NSFileProviderDomain& domain);
};

}  // namespace zelto
