#include <cerrno>

#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"

namespace zelto {
namespace {

using Fields = NSFileProviderItemFields;

constexpr Fields kCreationFields = Fields::contents | Fields::filename | Fields::parentItemIdentifier |
                                   Fields::creationDate | Fields::contentModificationDate |
                                   Fields::fileSystemFlags | Fields::typeAndCreator;

bool isFile(const NSFileProviderItemPtr& item) {
  const auto& type = item->contentType();
  const bool folder = type && (type->conformsTo(UTType::folder()) || type->conformsTo(UTType::directory()));
  return !folder && !item->symlinkTargetPath();
}

}  // namespace

void CreateRun::start() {
  if (!step_.sentBefore) return send();
  auto then = [this](const Look& look) { sentBefore(look); };
  step_.node.kind == NodeKind::file ? look(step_.destination(), then) : find(step_.destination(), then);
}

// It has been sent once already, and the answer was lost.
void CreateRun::sentBefore(const Look& look) {
  if (look.what == Look::What::unknown) return fail(look.error);
  if (look.what == Look::What::gone) return step_.repeated ? forgetAttempt() : send();
  if (step_.node.kind != NodeKind::file) {
    return isSame(look.item) ? settleAsSentBefore(look.item) : exists(look);
  }
  checkSentBefore(step_.destination(), look.item, [this, look](const Comparison& comparison) {
    if (comparison.error) return fail(comparison.error);
    comparison.same ? settleAsSentBefore(comparison.item) : exists(look);
  });
}

void CreateRun::send() {
  const bool folder = step_.node.kind == NodeKind::folder;
  if (step_.node.kind == NodeKind::file && !exportContent()) return;
  auto handler = expect<NSFileProviderItemPtr, Fields, bool, std::optional<NSError>>(
      [this](const NSFileProviderItemPtr& item, Fields, bool, const std::optional<NSError>& error) {
        created(item, error);
      });
  // What stands there already as a folder is this folder.
  const auto options =
      folder ? NSFileProviderCreateItemOptions::mayAlreadyExist : NSFileProviderCreateItemOptions::none;
  follow(parts_->extension.createItemBasedOnTemplate(templateItem(), kCreationFields, exported(), options, {},
                                                     std::move(handler)));
}

void CreateRun::created(const NSFileProviderItemPtr& item, const std::optional<NSError>& error) {
  if (!error) {
    settle(item);
    // So that the host watches it, and what it held already shows.
    if (step_.node.kind == NodeKind::folder) listFolderAgain(step_.node.inode);
    return;
  }
  switch (errnoForError(*error)) {
    case EEXIST:
      return find(step_.destination(), [this](const Look& look) { exists(look); });
    case ENOENT:
      return failOrRemakeParent(*error);
    default:
      return refuse(error);
  }
}

// Something other than a file, which has no content to compare.
bool CreateRun::isSame(const NSFileProviderItemPtr& item) const {
  if (step_.node.kind == NodeKind::folder) return !isFile(item) && !item->symlinkTargetPath();
  return isLinkOfStep(item);
}

void CreateRun::exists(const Look& look) {
  if (look.what == Look::What::unknown) return fail(look.error);
  if (look.what == Look::What::gone) {
    return fail(errorWithPOSIXCode(EBUSY, "what stood in its place is gone again"));
  }
  const NSFileProviderItemPtr item = look.item;
  if (step_.node.kind != NodeKind::file && isSame(item)) return settle(item);
  if (step_.node.kind != NodeKind::file || !isFile(item)) return occupied(item);
  if (item->documentSize() != static_cast<std::int64_t>(step_.node.size)) return occupied(item);
  compare(step_.destination(), [this, item](const Comparison& comparison) {
    if (comparison.error) return fail(comparison.error);
    comparison.same ? settle(comparison.item) : occupied(item);
  });
}

// Something else stands there.
void CreateRun::occupied(const NSFileProviderItemPtr& item) {
  step_.repeated ? forgetAttempt() : keepBoth(item);
}

}  // namespace zelto
