#include <cerrno>

#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"

namespace zelto {

using Fields = NSFileProviderItemFields;

void UploadRun::start() {
  look(step_.identifier, [this](const Look& now) { looked(now); });
}

void UploadRun::looked(const Look& now) {
  if (now.what == Look::What::unknown) return fail(now.error);
  if (now.what == Look::What::gone) return serverLost(step_.node.inode);
  if (isVersionOfStep(now.item)) return send();
  checkSentBefore(step_.identifier, now.item, [this](const Comparison& comparison) {
    if (comparison.error) return compared(comparison);
    comparison.same ? settleAsSentBefore(comparison.item) : isAnother(comparison.item);
  });
}

void UploadRun::isAnother(const NSFileProviderItemPtr& item) {
  if (item->documentSize() != static_cast<std::int64_t>(step_.node.size)) return keepBoth(item);
  compare(step_.identifier, [this](const Comparison& comparison) { compared(comparison); });
}

void UploadRun::compared(const Comparison& comparison) {
  if (comparison.error) {
    return errnoForError(*comparison.error) == ENOENT ? serverLost(step_.node.inode) : fail(comparison.error);
  }
  comparison.same ? settle(comparison.item) : keepBoth(comparison.item);
}

void UploadRun::send() {
  if (!exportContent()) return;
  auto handler = expect<NSFileProviderItemPtr, Fields, bool, std::optional<NSError>>(
      [this](const NSFileProviderItemPtr& item, Fields, bool, const std::optional<NSError>& error) {
        sent(item, error);
      });
  // The date goes with the bytes; naming it among the fields would cost a listing of the folder.
  follow(parts_->extension.modifyItem(templateItem(), step_.version, Fields::contents, exported(),
                                      NSFileProviderModifyItemOptions::none, {}, std::move(handler)));
}

void UploadRun::sent(const NSFileProviderItemPtr& item, const std::optional<NSError>& error) {
  if (!error) return settle(item);
  errnoForError(*error) == ENOENT ? serverLost(step_.node.inode) : refuse(error);
}

}  // namespace zelto
