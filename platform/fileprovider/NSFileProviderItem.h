#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderTypes.h"
#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/UTType.h"

namespace zelto {

// What the framework reads from an item that the extension hands it, and the extension from one that the
// framework asks it to create or change. Absent is what the giver does not know.
// THREAD: the framework reads an item on the thread that delivered it.
class NSFileProviderItem {
 public:
  virtual ~NSFileProviderItem() = default;

  virtual const std::optional<std::string>& itemIdentifier() const = 0;
  virtual const std::optional<std::string>& parentItemIdentifier() const = 0;
  virtual const std::optional<std::string>& filename() const = 0;
  virtual const std::optional<UTType>& contentType() const = 0;
  virtual NSFileProviderItemCapabilities capabilities() const = 0;
  virtual NSFileProviderFileSystemFlags fileSystemFlags() const = 0;
  virtual std::optional<std::int64_t> documentSize() const = 0;  // bytes
  virtual std::optional<NSDate> creationDate() const = 0;
  // Not const: an absent date may be fixed at the moment it is first read.
  virtual std::optional<NSDate> contentModificationDate() = 0;
  virtual std::optional<NSDate> lastUsedDate() const = 0;
  // Null when there are none.
  virtual const NSDictionary* extendedAttributes() const = 0;
  virtual const std::optional<std::string>& symlinkTargetPath() const = 0;
  virtual std::optional<NSFileProviderContentPolicy> contentPolicy() const = 0;
  // Computed on first read and kept.
  virtual std::shared_ptr<const NSFileProviderItemVersion> itemVersion() = 0;
  virtual NSDictionary userInfo() const = 0;
  // The item's badges, in the order in which to draw them: identifiers of decorations that the bundle's
  // property list declares.
  virtual std::vector<std::string> decorations() const { return {}; }
  // What only some file systems and file browsers know.
  virtual std::optional<NSData> tagData() const { return std::nullopt; }
  virtual std::optional<std::uint64_t> favoriteRank() const { return std::nullopt; }
  virtual NSFileProviderTypeAndCreator typeAndCreator() const { return {}; }
};

using NSFileProviderItemPtr = std::shared_ptr<NSFileProviderItem>;

}  // namespace zelto
