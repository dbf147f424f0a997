#include "model/FileProviderDecorations.h"

#include "model/FileProviderItem.h"
#include "platform/foundation/NSBundle.h"

namespace zelto {

const FileProviderDecorations& FileProviderDecorations::manager() {
  static const auto* const decorations = new FileProviderDecorations();
  return *decorations;
}

FileProviderDecorations::FileProviderDecorations()
    : prefix_(NSBundle::mainBundle().bundleIdentifier() + ".") {}

std::vector<std::string> FileProviderDecorations::decorationsForFileProviderItem(
    const FileProviderItem& item) const {
  const auto& flags = item.flags();
  std::vector<std::string> result;
  if (flags.isOfflineShare) result.push_back(offlineShareIdentifier_);
  if (item.itemType() == FileProviderItemTypeBookmark || flags.isBookmarked) {
    result.push_back(bookmarkIdentifier_);
  }
  if (flags.checkedOutByCurrentUser) result.push_back(checkoutGreenIdentifier_);
  // A check-out that the user may manage is no hindrance.
  if (flags.checkedOutByOtherUser) {
    result.push_back(flags.checkOutManager ? checkoutAmberIdentifier_ : checkoutRedIdentifier_);
  }
  return result;
}

}  // namespace zelto
