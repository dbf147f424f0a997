#include <fmt/format.h>

#include "model/FileProviderUtils.h"
#include "model/ZeltoIdentifiers.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/UuidName.h"
#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

std::optional<NSError> handOver(const NSURL& from, const NSURL& to, bool linked) {
  auto& manager = NSFileManager::defaultManager();
  return linked ? manager.linkItem(from, to) : manager.moveItem(from, to);
}

}  // namespace

std::expected<NSURL, NSError> FileProviderUtils::stagingUrlForUrl(const NSURL& url, bool linked) {
  auto staged = urlForTemporaryFileInGroupDirectory();
  auto error = staged ? handOver(url, *staged, linked)
                      : FileProviderErrorUtils::errorForGenericReason("No group directory");
  if (!error) return *std::move(staged);
  FileProviderLogger::instance().logError(fmt::format("FP[UTILS] Could not stage ({}) file {}. Reason: {}",
                                                      linked ? "link" : "move", url.path(),
                                                      description(*error)));
  return std::unexpected(*std::move(error));
}

std::expected<NSURL, NSError> FileProviderUtils::stagingUrlLinkedFromUrl(const NSURL& url) {
  return stagingUrlForUrl(url, true);
}

std::expected<NSURL, NSError> FileProviderUtils::stagingUrlMovedFromUrl(const NSURL& url) {
  return stagingUrlForUrl(url, false);
}

std::optional<NSURL> FileProviderUtils::urlForTemporaryFileInGroupDirectory() {
  const auto& directory = urlForGroupDirectory();
  if (!directory) return std::nullopt;
  return directory->appendingPathComponent(newUuidName());
}

const std::optional<NSURL>& FileProviderUtils::urlForGroupDirectory() {
  static const auto* const url =
      new std::optional(NSFileManager::defaultManager().containerURLForSecurityApplicationGroupIdentifier(
          ZeltoIdentifiers::groupIdentifier()));
  return *url;
}

}  // namespace zelto
