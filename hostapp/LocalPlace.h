#pragma once

#include <expected>
#include <string>

#include "hostapp/BeneathFolder.h"
#include "hostapp/ServerBackend.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// A name in an opened folder that can be written: where something is made, replaced, moved or removed.
struct LocalPlace {
  UniqueDescriptor folder;
  std::string name;
  std::string path;

  // ERRORS: those of `writeError`: no such folder, a folder that cannot be written, a name that the server
  // cannot hold (empty, not UTF-8, a temporary or reserved one, longer than 255 bytes).
  static std::expected<LocalPlace, NSError> open(const BeneathFolder& root, const std::string& path);

  // Opens what is there, whatever it is, for looking at it only. ERRORS: errno values.
  std::expected<UniqueDescriptor, int> look() const;
  BackendEntry entry(int descriptor) const;
};

// Whether the name can be that of an entry: a single component, UTF-8, neither a temporary nor a reserved
// one.
bool isEntryName(const std::string& name);

}  // namespace zelto
