#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderThumbnailing.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Fetches thumbnails from the host, all those of a request at once.
//
// A thumbnail that the host never answers keeps its request from completing: with no host connected no
// handler is called.
// THREAD: any.
class FileProviderThumbnail {
 public:
  static FileProviderThumbnail& manager();

  DispatchQueue& queue() { return queue_; }

  // The size is the host's choice. The progress counts items that have answered, whatever the outcome;
  // cancelling it has no effect.
  // COMPLETES: each item by its own handler on the connection's thread, without an error: no image means
  // none. The final one on the main queue, never with an error, perhaps before the last item's handler.
  std::shared_ptr<NSProgress> fetchThumbnailsForItemIdentifiers(
      std::vector<std::string> itemIdentifiers, CGSize requestedSize,
      NSFileProviderThumbnailHandler perThumbnailCompletionHandler,
      Completion<std::optional<NSError>> completionHandler);

  // The request id shows in the log.
  void thumbnailForIdentifier(
      const std::string& identifier, const std::string& requestId,
      Completion<const std::string&, std::optional<NSData>, std::optional<NSError>> completion);

 private:
  FileProviderThumbnail() = default;

  DispatchQueue queue_{"it.pellam.Zelto.FP.thumb-process"};
};

}  // namespace zelto
