#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "framework/replica/Replica.h"
#include "framework/requests/Waiter.h"
#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// Lists folders through the extension into the replica. Any number of requests for one folder make one
// listing: it stays the only one until it is answered or the host is lost, however long that takes, since
// a second one in flight would be answered late or wrongly. With no host a listing waits for one.
// THREAD: any.
class Lister {
 public:
  using DeltaHandler = std::function<void(const ReplicaDelta&)>;

  // `changed` hears what a listing changed in a folder that was listed before; `listed` hears of each
  // listing how many items it had.
  Lister(NSFileProviderPrincipal& extension, Replica& replica, DeltaHandler changed,
         std::function<void(std::size_t items)> listed);

  // Completes the waiter once the folder's children are in the replica.
  // BLOCKS: at most half a second (the extension's guard against a listing that was lost).
  void list(Inode folder, WaiterPtr waiter);

  // Lists a folder that nobody waits for yet, unless it is being listed or there is no host.
  void listAhead(Inode folder, WaiterPtr waiter);

  // The listings in flight will not be answered any more; they and new ones wait for the next host.
  void hostLost();
  // Sends the waiting listings. Called once the changes of a new host are in: until then the extension may
  // still answer from what it remembers of the one before. BLOCKS: as `list`, for each.
  void hostReady();

  // Whether there is a host whose changes are in.
  bool sending() const;
  std::size_t inFlight() const;
  // Of all listings in flight. Those who gave up are among them for a while: at most as many as those who
  // have not, and a few for each listing.
  std::size_t waiters() const;

 private:
  class Observer;
  struct Listing {
    std::vector<WaiterPtr> waiters;
    std::uint64_t attempt = 0;  // 0 while it waits for a host
    std::size_t tidyAt = 0;     // so many waiters are looked through for those who gave up

    // Gives those who gave up, to be destroyed without the lock.
    std::vector<WaiterPtr> add(WaiterPtr waiter);
  };

  void send(Inode folder, std::uint64_t attempt);
  void ask(Inode folder, std::uint64_t attempt);
  void failed(Inode folder, std::uint64_t attempt, const std::string& identifier, int error);
  // False when the folder is another one on the server by now.
  bool learn(Inode folder, const std::vector<NSFileProviderItemPtr>& items, const Asked& asked);
  void finish(Inode folder, std::uint64_t attempt, int error);
  bool isCurrent(Inode folder, std::uint64_t attempt) const;

  NSFileProviderPrincipal& extension_;
  Replica& replica_;
  DeltaHandler changed_;
  const std::function<void(std::size_t)> listed_;
  mutable std::mutex mutex_;
  bool sending_ = false;  // there is a host to send to
  std::unordered_map<Inode, Listing> listings_;
  std::uint64_t nextAttempt_ = 1;
};

}  // namespace zelto
