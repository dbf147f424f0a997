#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "framework/fetching/FileFetch.h"
#include "framework/replica/Replica.h"
#include "framework/requests/HostLink.h"
#include "framework/requests/Waiter.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"
#include "platform/foundation/DispatchQueue.h"

namespace zelto {

// Brings file content here: small files whole, larger ones by ranges. Requests for the same bytes share
// one transfer. A delivery that turns out to be of another version than the content it was asked for is
// never mixed with it: the item is taken over as changed and the waiters are told ESTALE.
// THREAD: any.
class Materialiser {
 public:
  using DeltaHandler = std::function<void(const ReplicaDelta&)>;

  // `changed` hears of items that a delivery showed to be changed.
  Materialiser(NSFileProviderPrincipal& extension, Replica& replica, HostLink& link, DeltaHandler changed);

  // Completes the waiter once the range is here; asks also for up to `ahead` bytes behind it that nobody
  // waits for. Errors: ESTALE (another version by now), ENOENT, ENOSPC, EIO and what the host says.
  void ensure(const std::shared_ptr<ContentFile>& content, NSRange range, std::uint64_t ahead,
              WaiterPtr waiter);

  // Asks for bytes that nobody waits for yet. Cheap when they are here or on their way.
  void prefetch(const std::shared_ptr<ContentFile>& content, NSRange range);

  void hostLost();
  void hostReady();

  std::size_t inFlight() const;

 private:
  struct Question;
  struct Delivery;

  void send(const std::shared_ptr<ContentFile>& content, std::vector<Transfer> transfers);
  void ask(const std::shared_ptr<ContentFile>& content, const Transfer& transfer);
  void askWhole(Question question);
  void askRange(Question question);
  void mirrorProgress(const std::shared_ptr<ContentFile>& content,
                      const std::shared_ptr<NSProgress>& progress);
  void progressed(const std::shared_ptr<ContentFile>& content);
  void deliver(Delivery delivery);
  void takeOver(Delivery delivery);
  void settle(const std::shared_ptr<ContentFile>& content, std::uint64_t transfer, int error);

  NSFileProviderPrincipal& extension_;
  Replica& replica_;
  HostLink& link_;
  DeltaHandler changed_;
  mutable std::mutex mutex_;
  std::unordered_map<ContentFile*, FileFetch> fetches_;
  std::uint64_t nextTransfer_ = 1;
  // Large deliveries are copied here, so that the thread which delivers replies stays free for others.
  DispatchQueue copies_;
};

}  // namespace zelto
