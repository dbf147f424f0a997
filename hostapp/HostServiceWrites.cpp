#include <cerrno>
#include <ctime>

#include "hostapp/BackendErrors.h"
#include "hostapp/HostService.h"
#include "hostapp/TransferFile.h"
#include "platform/foundation/KillPoint.h"

namespace zelto {

namespace {

using Parts = std::shared_ptr<const HostParts>;
using Changed = std::expected<BackendEntry, NSError>;

void replyWith(const HostParts& parts, const std::string& identifier, const std::string& path,
               const Changed& changed, FileReply& reply) {
  if (!changed) return reply(std::nullopt, changed.error());
  reply(parts.resolver->dictionaryOf(identifier, path, *changed), std::nullopt);
}

Changed entryOf(const WorkRunner::Result& result) {
  if (!result) return std::unexpected(result.error());
  return result->value_or(BackendEntry());
}

// From here on the file is this host's to remove.
std::expected<std::shared_ptr<TransferFile>, NSError> takeStaged(const std::string& folder,
                                                                 const std::optional<NSURL>& url) {
  auto staged = url ? TransferFile::take(folder, *url) : TransferFile::make(folder);
  if (!staged) return std::unexpected(staged.error());
  killPoint("upload.staged");
  return std::make_shared<TransferFile>(std::move(*staged));
}

// What an entry looks like before this host takes it away.
std::expected<FolderWatcher::OwnRemoval, NSError> lookBefore(ServerBackend& backend,
                                                             const std::string& path) {
  FolderWatcher::OwnRemoval removal{path, {}, {}};
  const auto entry = backend.stat(path);
  if (!entry) return std::unexpected(entry.error());
  removal.before = entry->stat;
  ::clock_gettime(CLOCK_REALTIME, &removal.lookedAt);
  return removal;
}

Changed createFolder(const HostParts& parts, const std::string& path, bool mayExist) {
  auto made = parts.backend->createFolder(path);
  if (made || !mayExist || !isExisting(made.error())) return made;
  auto present = parts.backend->stat(path);
  return present && present->stat.kind == EntryKind::folder ? present : made;
}

// One move on its way: a rename, for a folder between two looks of the watcher, or a copy to another volume.
class Move : public std::enable_shared_from_this<Move> {
 public:
  Move(Parts parts, std::shared_ptr<NSProgress> progress, std::shared_ptr<const std::atomic<bool>> abandoned,
       std::string identifier, std::string path, std::string destination, FileReply reply)
      : parts_(std::move(parts)),
        progress_(std::move(progress)),
        abandoned_(std::move(abandoned)),
        identifier_(std::move(identifier)),
        path_(std::move(path)),
        destination_(std::move(destination)),
        reply_(std::move(reply)) {}

  void begin() {
    auto before = lookBefore(*parts_->backend, path_);
    if (!before) return end(std::unexpected(before.error()));
    before_ = std::move(*before);
    if (path_ == destination_ || before_.before.kind != EntryKind::folder) {
      rename();
      return;
    }
    parts_->watcher->moveFolder(before_, destination_,
                                [move = shared_from_this()] { return move->rename(); });
  }

 private:
  // True when the item has another path now.
  bool rename() {
    // It may have waited for the watcher.
    if (progress_->isCancelled() || *abandoned_) {
      end(std::unexpected(cancelledError(path_)));
      return false;
    }
    auto moved = parts_->backend->move(path_, destination_);
    if (!moved && isOtherVolume(moved.error())) {
      copy();
      return false;
    }
    const bool gone = moved.has_value() && path_ != destination_;
    if (gone) {
      killPoint("move.renamed");
      if (before_.before.kind != EntryKind::folder) parts_->watcher->removed(before_);
    }
    end(moved);
    return gone;
  }

  void copy() {
    auto begin = [move = shared_from_this()] {
      return move->parts_->backend->moveByCopying(move->path_, move->destination_);
    };
    parts_->work->start(
        {path_, progress_, abandoned_, std::move(begin)},
        [move = shared_from_this()](const WorkRunner::Result& result) { move->copied(result); });
  }

  void copied(const WorkRunner::Result& result) {
    if (result) parts_->watcher->moveFolder(before_, destination_, [] { return true; });
    end(entryOf(result));
  }

  void end(const Changed& changed) {
    if (changed) {
      parts_->told->forget(path_);
      parts_->told->forget(destination_);
      if (path_ != destination_) parts_->itemMoved(path_, destination_);
      if (progress_->totalUnitCount() == 0) progress_->setTotalUnitCount(1);
      progress_->setCompletedUnitCount(progress_->totalUnitCount());
    }
    replyWith(*parts_, identifier_, destination_, changed, reply_);
  }

  const Parts parts_;
  const std::shared_ptr<NSProgress> progress_;
  const std::shared_ptr<const std::atomic<bool>> abandoned_;
  const std::string identifier_;
  const std::string path_;
  const std::string destination_;
  FileReply reply_;
  FolderWatcher::OwnRemoval before_;
};

}  // namespace

std::shared_ptr<NSProgress> HostService::uploadFileWithPath(const std::string& path,
                                                            const std::optional<NSURL>& contentUrl,
                                                            bool creating,
                                                            const std::optional<NSDate>& modifiedDate,
                                                            FileReply completion) {
  parts_->counters->count("uploadFile");
  auto progress = NSProgress::create();
  auto staged = takeStaged(parts_->transferFolder, contentUrl);
  if (!staged) {
    completion(std::nullopt, staged.error());
    return progress;
  }
  const auto item = parts_->resolver->resolveForChange(path);
  if (!item) {
    staged->reset();
    completion(std::nullopt, item.error());
    return progress;
  }
  UploadRequest request{item->path, (*staged)->url().path(), creating, modifiedDate,
                        creating ? std::nullopt : parts_->told->last(item->path)};
  (*staged)->close();
  auto begin = [parts = parts_, request = std::move(request)] { return parts->backend->upload(request); };
  auto end = [parts = parts_, path, served = item->path, content = std::move(*staged),
              reply = std::move(completion)](const WorkRunner::Result& result) mutable {
    content.reset();
    const Changed changed = entryOf(result);
    if (changed) parts->told->told(served, changed->stat);
    replyWith(*parts, path, served, changed, reply);
    killPoint("upload.replied");
  };
  parts_->work->start({path, progress, abandoned_, std::move(begin)}, std::move(end));
  return progress;
}

std::shared_ptr<NSProgress> HostService::createDirectoryWithPath(const std::string& path, bool mayExist,
                                                                 FileReply completion) {
  parts_->counters->count("createDirectory");
  auto progress = NSProgress::create(1);
  const auto item = parts_->resolver->resolveForChange(path);
  if (!item) {
    completion(std::nullopt, item.error());
    return progress;
  }
  parts_->pool->run([parts = parts_, abandoned = abandoned_, path, served = item->path, mayExist, progress,
                     reply = std::move(completion)]() mutable {
    if (progress->isCancelled() || *abandoned) return reply(std::nullopt, cancelledError(path));
    const auto made = createFolder(*parts, served, mayExist);
    killPoint("folder.created");
    if (made) progress->setCompletedUnitCount(1);
    replyWith(*parts, path, served, made, reply);
  });
  return progress;
}

std::shared_ptr<NSProgress> HostService::deleteItemWithPath(const std::string& path,
                                                            ErrorReply completionHandler) {
  parts_->counters->count("deleteItem");
  auto progress = NSProgress::create();
  const auto item = parts_->resolver->resolveForChange(path);
  if (!item) {
    completionHandler(item.error());
    return progress;
  }
  auto before = std::make_shared<FolderWatcher::OwnRemoval>();
  auto begin = [parts = parts_, served = item->path,
                before]() -> std::expected<std::unique_ptr<BackendWork>, NSError> {
    auto look = lookBefore(*parts->backend, served);
    if (!look) return std::unexpected(look.error());
    *before = std::move(*look);
    const auto seen = parts->told->last(served);
    const bool isFile = before->before.kind == EntryKind::file;
    if (isFile && seen && !isSameState(*seen, before->before)) {
      // Said once; who asks again has looked at it, or has nothing to look at.
      parts->told->forget(served);
      return std::unexpected(writeError(EBUSY, served));
    }
    return parts->backend->remove(served);
  };
  auto end = [parts = parts_, before, served = item->path,
              reply = std::move(completionHandler)](const WorkRunner::Result& result) mutable {
    killPoint("item.removed");
    if (!result) return reply(result.error());
    parts->told->forget(served);
    parts->watcher->removed(*before);
    parts->itemRemoved(served);
    reply(std::nullopt);
  };
  parts_->work->start({path, progress, abandoned_, std::move(begin)}, std::move(end));
  return progress;
}

std::shared_ptr<NSProgress> HostService::moveItemWithPath(const std::string& path,
                                                          const std::string& destination,
                                                          FileReply completion) {
  parts_->counters->count("moveItem");
  auto progress = NSProgress::create();
  const auto from = parts_->resolver->resolveForChange(path);
  const auto to = parts_->resolver->resolveForChange(destination);
  if (!from || !to) {
    completion(std::nullopt, from ? to.error() : from.error());
    return progress;
  }
  auto move = std::make_shared<Move>(parts_, progress, abandoned_, destination, from->path, to->path,
                                     std::move(completion));
  parts_->pool->run([move] { move->begin(); });
  return progress;
}

}  // namespace zelto
