#include <cerrno>

#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"

namespace zelto {

using Fields = NSFileProviderItemFields;

void MoveRun::start() {
  const auto slash = step_.identifier.rfind('/');
  const bool sameFolder =
      slash != std::string::npos && step_.identifier.substr(0, slash) == step_.parentIdentifier;
  send(step_.identifier, sameFolder ? Fields::filename : Fields::filename | Fields::parentItemIdentifier);
}

void MoveRun::send(const std::string& identifier, Fields fields) {
  auto handler = expect<NSFileProviderItemPtr, Fields, bool, std::optional<NSError>>(
      [this, fields](const NSFileProviderItemPtr& item, Fields pending, bool,
                     const std::optional<NSError>& error) { moved(item, fields, pending, error); });
  follow(parts_->extension.modifyItem(itemOf(identifier), step_.version, fields, std::nullopt,
                                      NSFileProviderModifyItemOptions::none, {}, std::move(handler)));
}

void MoveRun::moved(const NSFileProviderItemPtr& item, Fields asked, Fields pending,
                    const std::optional<NSError>& error) {
  if (!error) {
    const Fields left = pending & asked;
    if (left == Fields::none || left == asked) return arrived(item);
    // It stands in its new place already; the rest is asked for under the identifier that it has there.
    const bool renamed = item && item->itemIdentifier();
    return send(renamed ? *item->itemIdentifier() : step_.destination(), left);
  }
  switch (errnoForError(*error)) {
    case EEXIST:
      return occupied(*error);
    case ENOENT:
      return find(step_.destination(), [this, error = *error](const Look& look) { notFound(error, look); });
    default:
      return refuse(error);
  }
}

// What was moved may be another version than the one that is known here: nobody has seen it, so it is not the
// one that later steps replace or remove.
void MoveRun::arrived(const NSFileProviderItemPtr& item) {
  const bool known = !item || step_.node.kind == NodeKind::folder || isVersionOfStep(item);
  settle(known ? item : nullptr);
  if (!known) listFolderAgain(step_.node.parent);
}

// By something else, or by itself after an earlier request.
void MoveRun::occupied(const NSError& error) {
  if (!step_.sentBefore) return keepBoth(nullptr);
  find(step_.identifier, [this, error](const Look& source) {
    if (source.what == Look::What::unknown) return fail(source.error);
    if (source.what == Look::What::found) return step_.repeated ? forgetAttempt() : keepBoth(nullptr);
    find(step_.destination(), [this, error](const Look& look) { notFound(error, look); });
  });
}

// Either it was moved before without our being told, or it or its new folder is gone.
void MoveRun::notFound(const NSError& error, const Look& destination) {
  if (destination.what == Look::What::unknown) return fail(destination.error);
  if (destination.what == Look::What::found) {
    const bool ours = step_.node.kind == NodeKind::folder || isVersionOfStep(destination.item);
    return ours ? settle(destination.item) : serverLost(step_.node.inode);
  }
  find(step_.identifier, [this, error](const Look& source) {
    if (source.what == Look::What::gone) return serverLost(step_.node.inode);
    if (source.what == Look::What::found && step_.repeated) return forgetAttempt();
    failOrRemakeParent(error);
  });
}

}  // namespace zelto
