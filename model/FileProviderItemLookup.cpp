// Looking an item up by its identifier. There is no store of items: its parent's enumerator is asked.
#include <algorithm>

#include "enumeration/FileProviderEnumerator.h"
#include "model/FileProviderItem.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Path.h"
#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

using FindReply = Completion<FileProviderItemPtr, std::optional<NSError>>;

DispatchQueue& findQueue() {
  static auto* const queue = new DispatchQueue("it.pellam.Zelto.FP.FindItem");
  return *queue;
}

void answerFromChildren(const std::string& identifier, const std::optional<FileProviderItemList>& children,
                        FindReply& reply) {
  if (children) {
    const auto found =
        std::ranges::find(*children, std::optional(identifier), &FileProviderItem::itemIdentifier);
    if (found != children->end()) return reply(*found, std::nullopt);
  }
  FileProviderLogger::instance().logDebug("FP[Find] Failed to find " + identifier);
  reply(nullptr, FileProviderErrorUtils::errorNoSuchItemWithReason("Cannot find identifier"));
}

void find(const std::string& identifier, FindReply reply) {
  if (auto container = FileProviderItem::providerItemForStaticIdentifier(identifier)) {
    return reply(std::move(container), std::nullopt);
  }
  const auto enumerator =
      FileProviderEnumerator::enumeratorForIdentifier(stringByDeletingLastPathComponent(identifier));
  if (!enumerator) {
    FileProviderLogger::instance().logWarn("FP[Find] Failed to find parent of " + identifier);
    return reply(nullptr, FileProviderErrorUtils::errorNoSuchItemWithReason("Cannot find parent"));
  }
  // The host's cached listing is good enough for a look-up.
  enumerator->retrieveChildItemsForceUseCache(
      true, [identifier, reply = std::move(reply)](std::optional<FileProviderItemList> children) mutable {
        answerFromChildren(identifier, children, reply);
      });
}

}  // namespace

std::shared_ptr<NSProgress> FileProviderItem::findProviderItemForIdentifier(
    std::string identifier, Completion<FileProviderItemPtr, std::optional<NSError>> completionHandler) {
  findQueue().async([identifier = std::move(identifier), reply = std::move(completionHandler)]() mutable {
    find(identifier, std::move(reply));
  });
  return NSProgress::create();
}

}  // namespace zelto
