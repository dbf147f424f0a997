#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Completion.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSProgress.h"

namespace zelto {

class NSFileProviderCustomAction {
 public:
  virtual ~NSFileProviderCustomAction() = default;
  // Carries out an action that the bundle's property list declares, on the items that the user has selected.
  virtual std::shared_ptr<NSProgress> performActionWithIdentifier(
      const std::string& actionIdentifier, const std::vector<std::string>& onItemsWithIdentifiers,
      Completion<std::optional<NSError>> completionHandler) = 0;
};

}  // namespace zelto
