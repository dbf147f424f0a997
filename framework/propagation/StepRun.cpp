#include "framework/propagation/StepRun.h"

#include <cerrno>
#include <cmath>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

#include "framework/propagation/ConflictName.h"
#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"
#include "platform/foundation/KillPoint.h"

namespace zelto {
namespace {

constexpr unsigned kConflictNames = 100;
// Servers keep times less exactly than we do.
constexpr double kSameTime = 0.002;

bool isFolder(const NSFileProviderItemPtr& item) {
  const auto& type = item->contentType();
  return type && (type->conformsTo(UTType::folder()) || type->conformsTo(UTType::directory()));
}

}  // namespace

std::shared_ptr<StepRun> StepRun::make(std::shared_ptr<const StepParts> parts, LocalStep step, Done done) {
  using Kind = LocalStep::Kind;
  const auto run = [&]<typename Run>(std::type_identity<Run>) -> std::shared_ptr<StepRun> {
    return std::make_shared<Run>(std::move(parts), std::move(step), std::move(done));
  };
  switch (step.kind) {
    case Kind::create:
      return run(std::type_identity<CreateRun>());
    case Kind::upload:
      return run(std::type_identity<UploadRun>());
    case Kind::move:
      return run(std::type_identity<MoveRun>());
    case Kind::remove:
      return run(std::type_identity<RemoveRun>());
    case Kind::metadata:
      break;
  }
  return run(std::type_identity<MetadataRun>());
}

// ---- requests

void StepRun::renewRequest() {
  killPoint("step.begins");
  request_ = ExtensionRequest::make(parts_->ways, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->unanswered();
  });
}

void StepRun::follow(const std::shared_ptr<NSProgress>& progress) {
  request_->follow(progress, [parts = parts_, inode = step_.node.inode](const NSProgress& now) {
    parts->progressed(inode, now.completedUnitCount(), now.totalUnitCount());
  });
}

void StepRun::unanswered() { fail(errorWithPOSIXCode(ETIMEDOUT, "The host application has not answered.")); }

bool StepRun::exportContent() {
  exported_.emplace(parts_->exportDirectory);
  const auto error = parts_->replica.exportContent(step_, exported_->path());
  error ? fail(*error) : exported_->written();
  killPoint("step.exported");
  return !error;
}

std::optional<NSURL> StepRun::exported() const {
  if (!exported_) return std::nullopt;
  return NSURL::fileURL(exported_->path());
}

std::shared_ptr<LocalItem> StepRun::itemOf(const std::string& identifier) const {
  NSDictionary attributes;
  for (const auto& [name, value] : parts_->replica.extendedAttributes(step_.node.inode)) {
    attributes.set(name, NSData::copyOf(value));
  }
  return std::make_shared<LocalItem>(step_, identifier, std::move(attributes));
}

NSFileProviderItemPtr StepRun::templateItem() const {
  return itemOf(step_.identifier.empty() ? step_.destination() : step_.identifier);
}

// ---- ends

void StepRun::end(StepResult result) {
  if (!done_) return;
  auto done = std::exchange(done_, nullptr);
  if (request_) request_->cancel();
  request_.reset();
  const bool taken = result.kind == StepResult::Kind::settled;
  if (exported_ && !taken) exported_->takeBack();
  exported_.reset();
  done(std::move(result));
}

void StepRun::abort() {
  if (!done_) return;
  parts_->replica.stepFailed(step_);
  end({.kind = StepResult::Kind::interrupted});
}

void StepRun::apply(const ReplicaDelta& delta) {
  if (!delta.empty()) parts_->changed(delta);
}

void StepRun::settle(const NSFileProviderItemPtr& item) {
  killPoint("step.settles");
  apply(parts_->replica.settle(step_, item));
  killPoint("step.settled");
  StepResult result;
  const bool content = step_.kind == LocalStep::Kind::create || step_.kind == LocalStep::Kind::upload;
  if (content && step_.node.kind == NodeKind::file) result.takenRevision = step_.contentRevision;
  end(std::move(result));
}

void StepRun::fail(const std::optional<NSError>& error) {
  parts_->replica.stepFailed(step_);
  end({.kind = StepResult::Kind::failed,
       .error = error ? error : errorWithPOSIXCode(EIO, "The extension gave no reason.")});
}

void StepRun::refuse(const std::optional<NSError>& error) {
  parts_->replica.stepFailed(step_, true);
  end({.kind = StepResult::Kind::failed,
       .error = error ? error : errorWithPOSIXCode(EIO, "The extension gave no reason.")});
}

void StepRun::forgetAttempt() {
  parts_->replica.stepFailed(step_, true);
  end({.kind = StepResult::Kind::again});
}

void StepRun::settleAsSentBefore(const NSFileProviderItemPtr& item) {
  const SentContent& sent = *step_.sentBefore;
  if (step_.node.size == sent.size && step_.node.modifiedNs == sent.modifiedNs) return settle(item);
  step_.contentRevision = 0;
  apply(parts_->replica.settle(step_, item));
  end({.kind = StepResult::Kind::again});
}

Inode StepRun::topAbove(Inode inode) const {
  auto node = parts_->replica.node(inode);
  if (!node) node = parts_->replica.node(step_.node.parent);
  while (node && node->parent != kRootInode) node = parts_->replica.node(node->parent);
  return node ? node->inode : 0;
}

// Nothing can be made at the top from here. With a share that the server does not show everything in it is
// gone, and is there again when the share is: until then its changes wait.
void StepRun::serverLost(Inode inode) {
  const Inode top = topAbove(inode);
  if (top == 0) return lostForGood(inode);
  find(parts_->replica.identifier(top), [this, inode](const Look& look) {
    if (look.what == Look::What::found) return lostForGood(inode);
    const bool gone = look.what == Look::What::gone;
    fail(gone ? errorWithPOSIXCode(ENOENT, "the server does not show its folder at the moment") : look.error);
  });
}

void StepRun::lostForGood(Inode inode) {
  parts_->replica.stepFailed(step_);
  apply(parts_->replica.serverLost(inode));
  end({.kind = StepResult::Kind::again});
}

void StepRun::failOrRemakeParent(const NSError& error) {
  if (step_.node.parent == kRootInode) return fail(error);
  find(step_.parentIdentifier, [this, error](const Look& parent) {
    const bool other = parent.what == Look::What::found && !isFolder(parent.item);
    if (other || parent.what == Look::What::gone) return serverLost(step_.node.parent);
    fail(error);
  });
}

void StepRun::keepBoth(const NSFileProviderItemPtr& serverItem) {
  const std::string before = path();
  const std::tm time = parts_->localTime();
  parts_->replica.stepFailed(step_);
  std::expected<ReplicaDelta, int> kept = std::unexpected(EEXIST);
  const std::string localName = parts_->replica.name(step_.node.inode);
  std::string name;
  for (unsigned count = 1; !kept && kept.error() == EEXIST && count <= kConflictNames; ++count) {
    name = conflictName(localName, step_.node.kind == NodeKind::folder, time, count);
    kept = parts_->replica.keepBoth(step_.node.inode, name);
  }
  if (!kept) {
    auto error = errorWithPOSIXCode(kept.error(), "the version of this computer cannot be kept as " + name);
    return end({.kind = StepResult::Kind::failed, .error = std::move(error)});
  }
  apply(*kept);
  if (serverItem) apply(parts_->replica.applyChanges({serverItem}, {}));
  if (!serverItem) listFolderAgain(step_.node.parent);
  parts_->conflict(
      before,
      fmt::format("it is another one on the server; the one of this computer is kept as \"{}\"", name));
  end({.kind = StepResult::Kind::again});
}

void StepRun::giveUpRemoval(const NSFileProviderItemPtr& serverItem, const std::string& why) {
  const std::string before = path();
  parts_->replica.stepFailed(step_);
  const auto abandoned = parts_->replica.abandon(step_.node.inode);
  if (!abandoned) {
    return end({.kind = StepResult::Kind::failed,
                .error = errorWithPOSIXCode(abandoned.error(), why + ", and cannot be shown again")});
  }
  apply(*abandoned);
  if (serverItem) apply(parts_->replica.applyChanges({serverItem}, {}));
  listFolderAgain(step_.node.parent);
  if (step_.node.kind == NodeKind::folder) listFolderAgain(step_.node.inode);
  parts_->conflict(before, why + "; it is not removed");
  end({.kind = StepResult::Kind::again});
}

void StepRun::listFolderAgain(Inode folder) {
  const auto node = parts_->replica.node(folder);
  if (node && node->kind == NodeKind::folder) {
    parts_->lister.list(folder, std::make_shared<FunctionWaiter>([](int) {}));
  }
}

std::string StepRun::path() const {
  const auto info = parts_->replica.localChange(step_.node.inode);
  return info ? info->path : step_.name;
}

// ---- comparing

bool StepRun::isVersionOfStep(const NSFileProviderItemPtr& item) const {
  return item->itemVersion()->contentVersion == step_.version.contentVersion;
}

bool StepRun::isLinkOfStep(const NSFileProviderItemPtr& item) const {
  if (item->symlinkTargetPath()) return item->symlinkTargetPath() == step_.symlinkTarget;
  return step_.sentBefore && item->documentSize() == 0;
}

bool StepRun::looksSentBefore(const NSFileProviderItemPtr& item) const {
  const auto& before = step_.sentBefore;
  if (!before || item->documentSize() != static_cast<std::int64_t>(before->size)) return false;
  // Programs set dates as they like; the bytes will tell.
  if (!before->dated && before->digest != 0) return true;
  const auto date = item->contentModificationDate();
  const auto sent = dateForNanoseconds(before->modifiedNs);
  if (!date) return false;
  const double later = date->timeIntervalSince1970() - sent.timeIntervalSince1970();
  return later > -kSameTime && (later < kSameTime || !before->dated);
}

}  // namespace zelto
