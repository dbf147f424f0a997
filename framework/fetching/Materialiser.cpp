#include "framework/fetching/Materialiser.h"

#include <algorithm>
#include <cerrno>

#include <sys/statvfs.h>
#include <unistd.h>

#include "framework/requests/Errno.h"
#include "platform/foundation/NSFileManager.h"

namespace zelto {
namespace {

constexpr std::uint64_t kCopiedAtOnce = 1 << 20;

// With less than this on the disk nothing large can come here.
constexpr std::uint64_t kScarce = 4 * FileFetch::kLongestTransfer;

bool isDiskFull() {
  struct statvfs disk {};
  return ::statvfs(dataHome().c_str(), &disk) == 0 && disk.f_blocks != 0 &&
         std::uint64_t{disk.f_bavail} * disk.f_frsize < kScarce;
}

// The extension does not say why it could not save what has come.
int errnoForDelivery(const NSError& error) {
  const bool unexplained = error.domain() == NSCocoaErrorDomain && error.code() == 0;
  return unexplained && isDiskFull() ? ENOSPC : errnoForError(error);
}

void removeDelivered(const std::optional<NSURL>& url) {
  if (url) ::unlink(url->path().c_str());
}

}  // namespace

// What the extension answered to one transfer.
// A transfer that was asked for, as what and when.
struct Materialiser::Question {
  std::shared_ptr<ContentFile> content;
  Transfer transfer;
  Asked asked;
};

struct Materialiser::Delivery {
  Question question;
  std::optional<NSURL> url;
  NSFileProviderItemPtr item;
  NSRange range;
  std::optional<NSError> error;
};

Materialiser::Materialiser(NSFileProviderPrincipal& extension, Replica& replica, HostLink& link,
                           DeltaHandler changed)
    : extension_(extension),
      replica_(replica),
      link_(link),
      changed_(std::move(changed)),
      copies_("it.pellam.Zelto.FileProvider.copies") {}

void Materialiser::ensure(const std::shared_ptr<ContentFile>& content, NSRange range, std::uint64_t ahead,
                          WaiterPtr waiter) {
  if (content->covers(range)) return waiter->done(0);
  if (content->detached()) return waiter->done(ESTALE);
  std::vector<Transfer> transfers;
  const bool hostPresent = link_.present();
  {
    const std::lock_guard lock(mutex_);
    FileFetch& fetch = fetches_.try_emplace(content.get(), content).first->second;
    fetch.addWaiter(range, std::move(waiter));
    if (hostPresent) {
      transfers = fetch.plan({range.location, range.length + ahead}, nextTransfer_);
      // It may have arrived between the first look and the lock: then nothing would wake the waiter.
      if (transfers.empty() && content->covers(range)) transfers.push_back({0, {}, false});
    }
  }
  if (transfers.size() == 1 && transfers.front().id == 0) return settle(content, 0, 0);
  send(content, transfers);
}

void Materialiser::prefetch(const std::shared_ptr<ContentFile>& content, NSRange range) {
  if (!link_.present() || content->detached() || content->covers(range)) return;
  std::vector<Transfer> transfers;
  {
    const std::lock_guard lock(mutex_);
    FileFetch& fetch = fetches_.try_emplace(content.get(), content).first->second;
    transfers = fetch.plan(range, nextTransfer_);
    if (fetch.idle()) fetches_.erase(content.get());
  }
  send(content, transfers);
}

void Materialiser::send(const std::shared_ptr<ContentFile>& content, std::vector<Transfer> transfers) {
  if (transfers.empty()) return;
  replica_.whenPlaceIsKnown(content->inode(), [this, content, transfers = std::move(transfers)] {
    for (const Transfer& transfer : transfers) ask(content, transfer);
  });
}

void Materialiser::ask(const std::shared_ptr<ContentFile>& content, const Transfer& transfer) {
  Question question{content, transfer, {replica_.settledSoFar(), {}}};
  question.asked.identifier = replica_.identifier(content->inode());
  if (question.asked.identifier.empty()) return settle(content, transfer.id, ENOENT);
  transfer.whole ? askWhole(std::move(question)) : askRange(std::move(question));
}

void Materialiser::askWhole(Question question) {
  const auto content = question.content;
  const std::string identifier = question.asked.identifier;
  mirrorProgress(content,
                 extension_.fetchContentsForItemWithIdentifier(
                     identifier, replica_.version(content->inode()), {},
                     [this, question = std::move(question)](
                         std::optional<NSURL> url, NSFileProviderItemPtr item, std::optional<NSError> error) {
                       const NSRange range = question.transfer.range;
                       deliver({question, std::move(url), std::move(item), range, std::move(error)});
                     }));
}

void Materialiser::askRange(Question question) {
  const auto content = question.content;
  const std::string identifier = question.asked.identifier;
  const NSRange wanted = question.transfer.range;
  mirrorProgress(content,
                 extension_.fetchPartialContentsForItemWithIdentifier(
                     identifier, replica_.version(content->inode()).value_or(NSFileProviderItemVersion{}), {},
                     wanted, 1, NSFileProviderFetchContentsOptions::none,
                     [this, question = std::move(question)](
                         std::optional<NSURL> url, NSFileProviderItemPtr item, NSRange range,
                         NSFileProviderMaterializationFlags, std::optional<NSError> error) {
                       deliver({question, std::move(url), std::move(item), range, std::move(error)});
                     }));
}

void Materialiser::mirrorProgress(const std::shared_ptr<ContentFile>& content,
                                  const std::shared_ptr<NSProgress>& progress) {
  progress->setChangeHandler([this, weak = std::weak_ptr(content)](const NSProgress&) {
    if (const auto alive = weak.lock()) progressed(alive);
  });
}

void Materialiser::progressed(const std::shared_ptr<ContentFile>& content) {
  std::vector<WaiterPtr> waiters;
  {
    const std::lock_guard lock(mutex_);
    const auto it = fetches_.find(content.get());
    if (it != fetches_.end()) waiters = it->second.waiters();
  }
  for (const auto& waiter : waiters) waiter->progressed();
}

void Materialiser::deliver(Delivery delivery) {
  const auto& [content, transfer, asked] = delivery.question;
  if (!content->detached() && !replica_.isPlace(content->inode(), asked.identifier)) {
    // It has moved meanwhile: what came is perhaps another item's.
    removeDelivered(delivery.url);
    return send(content, {transfer});
  }
  if (delivery.error || !delivery.url) {
    removeDelivered(delivery.url);
    return settle(content, transfer.id, delivery.error ? errnoForDelivery(*delivery.error) : EIO);
  }
  if (delivery.item) {
    // The record tells which version the bytes are of; a changed one detaches the content asked for.
    const ReplicaDelta delta = replica_.applyItem(content->inode(), delivery.item, asked);
    if (!delta.empty()) changed_(delta);
  }
  if (delivery.range.length <= kCopiedAtOnce) return takeOver(std::move(delivery));
  copies_.async([this, delivery = std::move(delivery)]() mutable { takeOver(std::move(delivery)); });
}

void Materialiser::takeOver(Delivery delivery) {
  const auto error = delivery.question.content->takeOver(delivery.url->path(), delivery.range);
  const int code = delivery.question.content->detached() ? ESTALE : error ? errnoForError(*error) : 0;
  settle(delivery.question.content, delivery.question.transfer.id, code);
}

void Materialiser::settle(const std::shared_ptr<ContentFile>& content, std::uint64_t transfer, int error) {
  std::vector<FileFetch::Done> done;
  {
    const std::lock_guard lock(mutex_);
    const auto it = fetches_.find(content.get());
    if (it == fetches_.end()) return;
    done = it->second.end(transfer, error);
    if (it->second.idle()) fetches_.erase(it);
  }
  for (const auto& [waiter, code] : done) waiter->done(code);
}

void Materialiser::hostLost() {
  const std::lock_guard lock(mutex_);
  for (auto& [key, fetch] : fetches_) fetch.forgetTransfers();
}

void Materialiser::hostReady() {
  std::vector<std::pair<std::shared_ptr<ContentFile>, std::vector<Transfer>>> toSend;
  {
    const std::lock_guard lock(mutex_);
    for (auto& [key, fetch] : fetches_) fetch.dropThoseWhoGaveUp();
    std::erase_if(fetches_, [](const auto& entry) { return entry.second.idle(); });
    for (auto& [key, fetch] : fetches_)
      toSend.emplace_back(fetch.content(), fetch.planForWaiters(nextTransfer_));
  }
  for (const auto& [content, transfers] : toSend) send(content, transfers);
}

std::size_t Materialiser::inFlight() const {
  const std::lock_guard lock(mutex_);
  return fetches_.size();
}

}  // namespace zelto
