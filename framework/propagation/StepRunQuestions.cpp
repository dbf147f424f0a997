#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "framework/propagation/ContentComparison.h"
#include "framework/propagation/FreshListing.h"
#include "framework/propagation/StepRun.h"
#include "framework/replica/FileDigest.h"
#include "framework/requests/Errno.h"

namespace zelto {
namespace {

void removeDelivered(const std::optional<NSURL>& url) {
  if (url) ::unlink(url->path().c_str());
}

}  // namespace

void StepRun::look(const std::string& identifier, LookThen then) {
  // A single byte brings the item as it is now; asking for the item itself would list the folder around it.
  auto handler = expect<std::optional<NSURL>, NSFileProviderItemPtr, NSRange,
                        NSFileProviderMaterializationFlags, std::optional<NSError>>(
      [this, identifier, then = std::move(then)](std::optional<NSURL> url, NSFileProviderItemPtr item,
                                                 NSRange, NSFileProviderMaterializationFlags,
                                                 std::optional<NSError> error) mutable {
        removeDelivered(url);
        if (item) return then({Look::What::found, std::move(item), {}});
        const int code = error ? errnoForError(*error) : 0;
        // What may not be read may still be replaced or removed.
        if (code == EACCES) return find(identifier, std::move(then));
        then({code == ENOENT ? Look::What::gone : Look::What::unknown, nullptr, std::move(error)});
      });
  follow(parts_->extension.fetchPartialContentsForItemWithIdentifier(identifier, step_.version, {}, {0, 1}, 1,
                                                                     NSFileProviderFetchContentsOptions::none,
                                                                     std::move(handler)));
}

void StepRun::find(const std::string& identifier, LookThen then) {
  auto handler = expect<NSFileProviderItemPtr, std::optional<NSError>>(
      [then = std::move(then)](NSFileProviderItemPtr item, std::optional<NSError> error) mutable {
        if (item) return then({Look::What::found, std::move(item), {}});
        const bool gone = error && errnoForError(*error) == ENOENT;
        then({gone ? Look::What::gone : Look::What::unknown, nullptr, std::move(error)});
      });
  follow(parts_->extension.itemForIdentifier(identifier, {}, std::move(handler)));
}

void StepRun::listFolder(
    const std::string& identifier,
    std::move_only_function<void(std::vector<NSFileProviderItemPtr>, std::optional<NSError>)> then) {
  auto handler = expect<std::vector<NSFileProviderItemPtr>, std::optional<NSError>>(std::move(then));
  follow(NSProgress::create());
  listFreshly(parts_->extension, identifier, std::move(handler));
}

void StepRun::checkSentBefore(const std::string& identifier, const NSFileProviderItemPtr& item,
                              ComparisonThen then) {
  if (!looksSentBefore(item)) return then({false, item, {}});
  if (step_.sentBefore->dated || step_.sentBefore->digest == 0) return then({true, item, {}});
  judge(identifier, &StepRun::checkDigest, std::move(then));
}

void StepRun::checkDigest(const std::string& deliveredPath, const NSFileProviderItemPtr& item,
                          ComparisonThen then) {
  parts_->comparing->async([weak = weak_from_this(), queue = parts_->ways.queue, deliveredPath, item,
                            sent = step_.sentBefore->digest, then = std::move(then)]() mutable {
    const auto digest = digestOfFile(deliveredPath);
    ::unlink(deliveredPath.c_str());
    queue->async([weak, item, digest, sent, then = std::move(then)]() mutable {
      const auto self = weak.lock();
      if (!self || !self->done_) return;
      if (digest) return then({*digest == sent, item, {}});
      then({false, nullptr, errorWithPOSIXCode(digest.error(), std::strerror(digest.error()))});
    });
  });
}

void StepRun::compare(const std::string& identifier, ComparisonThen then) {
  judge(identifier, &StepRun::compareWith, std::move(then));
}

void StepRun::judge(const std::string& identifier, Judgement judgement, ComparisonThen then) {
  auto handler = expect<std::optional<NSURL>, NSFileProviderItemPtr, std::optional<NSError>>(
      [this, judgement, then = std::move(then)](const std::optional<NSURL>& url,
                                                const NSFileProviderItemPtr& item,
                                                const std::optional<NSError>& error) mutable {
        if (url && item) return (this->*judgement)(url->path(), item, std::move(then));
        removeDelivered(url);
        then({false, nullptr, error ? error : errorWithPOSIXCode(EIO, "the content was not delivered")});
      });
  follow(
      parts_->extension.fetchContentsForItemWithIdentifier(identifier, std::nullopt, {}, std::move(handler)));
}

void StepRun::compareWith(const std::string& deliveredPath, const NSFileProviderItemPtr& item,
                          ComparisonThen then) {
  if (!exportContent()) {
    ::unlink(deliveredPath.c_str());
    return;
  }
  parts_->comparing->async([weak = weak_from_this(), queue = parts_->ways.queue, deliveredPath,
                            ours = exported_->path(), item, then = std::move(then)]() mutable {
    const auto same = haveSameContent(deliveredPath, ours);
    ::unlink(deliveredPath.c_str());
    queue->async([weak, item, same, then = std::move(then)]() mutable {
      const auto self = weak.lock();
      if (!self || !self->done_) return;
      if (same) return then({*same, item, {}});
      then({false, nullptr, errorWithPOSIXCode(same.error(), std::strerror(same.error()))});
    });
  });
}

}  // namespace zelto
