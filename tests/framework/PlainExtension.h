#pragma once

#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto::test {

// What extensions of tests have in common that are asked for neither thumbnails nor actions: they answer
// neither.
class PlainExtension : public NSFileProviderPrincipal {
 public:
  std::shared_ptr<NSProgress> fetchThumbnailsForItemIdentifiers(const std::vector<std::string>&, CGSize,
                                                                NSFileProviderThumbnailHandler,
                                                                Completion<std::optional<NSError>>) override {
    return NSProgress::create();
  }
  std::shared_ptr<NSProgress> performActionWithIdentifier(const std::string&, const std::vector<std::string>&,
                                                          Completion<std::optional<NSError>>) override {
    return NSProgress::create();
  }
};

}  // namespace zelto::test
