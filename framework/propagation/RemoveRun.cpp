#include <algorithm>
#include <cerrno>

#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"

namespace zelto {

void RemoveRun::start() {
  switch (step_.node.kind) {
    case NodeKind::file:
      return look(step_.identifier, [this](const Look& now) { looked(now); });
    case NodeKind::folder:
      return listFolder(step_.identifier,
                        [this](const std::vector<NSFileProviderItemPtr>& items,
                               const std::optional<NSError>& error) { listed(items, error); });
    case NodeKind::symlink:
      if (!step_.uncertain) return send();  // has no content that could be another
      return find(step_.identifier, [this](const Look& now) { found(now); });
  }
}

void RemoveRun::looked(const Look& now) {
  if (now.what == Look::What::unknown) return fail(now.error);
  if (now.what == Look::What::gone) return settle(nullptr);
  if (isVersionOfStep(now.item)) return send();
  checkSentBefore(step_.identifier, now.item, [this](const Comparison& comparison) { checked(comparison); });
}

void RemoveRun::checked(const Comparison& comparison) {
  if (comparison.error) {
    return errnoForError(*comparison.error) == ENOENT ? settle(nullptr) : fail(comparison.error);
  }
  if (comparison.same) return send();
  if (step_.uncertain) return settle(nullptr);  // what was sent did not arrive; this is another one
  giveUpRemoval(comparison.item, "it was changed on the server meanwhile");
}

void RemoveRun::found(const Look& now) {
  if (now.what == Look::What::unknown) return fail(now.error);
  const bool ours = now.what == Look::What::found && isLinkOfStep(now.item);
  ours ? send() : settle(nullptr);
}

void RemoveRun::listed(const std::vector<NSFileProviderItemPtr>& items, const std::optional<NSError>& error) {
  if (error) return errnoForError(*error) == ENOENT ? settle(nullptr) : fail(error);
  if (std::ranges::all_of(items, [this](const auto& item) { return isRemovedHere(item); })) return send();
  giveUpRemoval(nullptr, "it holds something on the server that was not removed here");
}

bool RemoveRun::isRemovedHere(const NSFileProviderItemPtr& item) const {
  const auto inode = parts_->replica.inodeForIdentifier(item->itemIdentifier().value_or(std::string()));
  const auto change = inode ? parts_->replica.localChange(*inode) : std::nullopt;
  return change && change->removed;
}

void RemoveRun::send() {
  auto handler =
      expect<std::optional<NSError>>([this](const std::optional<NSError>& error) { removed(error); });
  follow(parts_->extension.deleteItemWithIdentifier(
      step_.identifier, step_.version, NSFileProviderDeleteItemOptions::none, {}, std::move(handler)));
}

void RemoveRun::removed(const std::optional<NSError>& error) {
  const int code = error ? errnoForError(*error) : 0;
  if (code == 0 || code == ENOENT) return settle(nullptr);
  if (code == ENOTEMPTY) {
    return giveUpRemoval(nullptr, "it holds something on the server that was not removed here");
  }
  fail(error);
}

}  // namespace zelto
