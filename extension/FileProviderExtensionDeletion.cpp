#include "extension/FileProviderExtension.h"
#include "host/ZeltoFileProviderClient.h"
#include "support/FileProviderLogger.h"

namespace zelto {

std::shared_ptr<NSProgress> FileProviderExtension::deleteItemWithIdentifier(
    const std::string& identifier, const NSFileProviderItemVersion&, NSFileProviderDeleteItemOptions,
    const NSFileProviderRequest&, Completion<std::optional<NSError>> completionHandler) {
  FileProviderLogger::instance().logInfo("FP[Delete] Deleting " + identifier);
  return ZeltoFileProviderClient::instance().deleteItemWithPath(identifier, std::move(completionHandler));
}

}  // namespace zelto
