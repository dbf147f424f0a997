#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "framework/replica/ContentFile.h"
#include "framework/requests/Waiter.h"

namespace zelto {

// One request to the extension for a part of a file.
struct Transfer {
  std::uint64_t id = 0;
  NSRange range;
  bool whole = false;
};

// What is on its way of one file's content, and who waits for which bytes of it.
// THREAD: guarded by its owner's lock.
class FileFetch {
 public:
  // Files up to this size are fetched whole, in one request and one rename.
  static constexpr std::uint64_t kWholeFileLimit = 1 << 20;
  // The longest range asked for at once.
  static constexpr std::uint64_t kLongestTransfer = 16 << 20;
  static constexpr std::uint64_t kAlignment = 64 << 10;

  explicit FileFetch(std::shared_ptr<ContentFile> content) : content_(std::move(content)) {}

  const std::shared_ptr<ContentFile>& content() const { return content_; }
  bool idle() const { return transfers_.empty() && waits_.empty(); }

  void addWaiter(NSRange range, WaiterPtr waiter) { waits_.push_back({range, std::move(waiter)}); }

  // The transfers needed so that the range gets here, less what is here or on its way; they count as on
  // their way from now on.
  std::vector<Transfer> plan(NSRange range, std::uint64_t& nextId);
  // The same for everything that somebody still waits for.
  std::vector<Transfer> planForWaiters(std::uint64_t& nextId);

  // A transfer has ended. Gives the waiters that are done now: with 0 where their bytes are here, with the
  // error where they waited for this transfer.
  struct Done {
    WaiterPtr waiter;
    int error;
  };
  std::vector<Done> end(std::uint64_t transfer, int error);
  // The transfers on their way will not be answered.
  void forgetTransfers() { transfers_.clear(); }
  void dropThoseWhoGaveUp();
  std::vector<WaiterPtr> waiters() const;

 private:
  struct Wait {
    NSRange range;
    WaiterPtr waiter;
  };

  bool isOnItsWay(NSRange range) const;

  std::shared_ptr<ContentFile> content_;
  std::vector<Transfer> transfers_;
  std::vector<Wait> waits_;
};

}  // namespace zelto
