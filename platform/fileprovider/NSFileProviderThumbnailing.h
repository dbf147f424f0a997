#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Completion.h"
#include "platform/foundation/NSData.h"
#include "platform/foundation/NSError.h"
#include "platform/foundation/NSProgress.h"

namespace zelto {

// Width and height in points.
struct CGSize {
  double width = 0;
  double height = 0;
};

// One item's thumbnail, once for each item: the image's bytes, an error, or neither where there is no
// picture. THREAD: calls for different items may come on different threads at once.
using NSFileProviderThumbnailHandler =
    std::function<void(const std::string& identifier, const std::optional<NSData>& imageData,
                       const std::optional<NSError>& error)>;

class NSFileProviderThumbnailing {
 public:
  virtual ~NSFileProviderThumbnailing() = default;
  // COMPLETES: each item by its own handler; the final one when all items have answered, perhaps before or
  // during the handler of the last.
  virtual std::shared_ptr<NSProgress> fetchThumbnailsForItemIdentifiers(
      const std::vector<std::string>& itemIdentifiers, CGSize requestedSize,
      NSFileProviderThumbnailHandler perThumbnailCompletionHandler,
      Completion<std::optional<NSError>> completionHandler) = 0;
};

}  // namespace zelto
