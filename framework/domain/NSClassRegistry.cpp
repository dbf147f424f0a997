#include <map>

#include "platform/fileprovider/NSExtensionMain.h"

namespace zelto {
namespace {

// Made on first use: registrations run before main, in no particular order.
std::map<std::string, NSClassRegistry::Factory>& factories() {
  static auto* const map = new std::map<std::string, NSClassRegistry::Factory>();
  return *map;
}

}  // namespace

NSClassRegistry::Registration::Registration(const char* name, Factory factory) {
  factories()[name] = std::move(factory);
}

std::shared_ptr<NSFileProviderPrincipal> NSClassRegistry::make(const std::string& name,
                                                               const NSFileProviderDomain& domain) {
  const auto it = factories().find(name);
  return it == factories().end() ? nullptr : it->second(domain);
}

}  // namespace zelto
