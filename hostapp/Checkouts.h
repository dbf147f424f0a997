#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hostapp/Checkout.h"
#include "hostapp/CheckoutTable.h"
#include "hostapp/ServerBackend.h"
#include "hostapp/ShareRecords.h"

namespace zelto {

// Who has checked out what, in common with all hosts that serve the same shares.
// THREAD: any. BLOCKS: on the server, and on another host that is just changing the same share.
class Checkouts {
 public:
  Checkouts(std::shared_ptr<ServerBackend> backend, std::shared_ptr<ShareRecords> records, std::string user,
            bool mayManage)
      : backend_(std::move(backend)),
        records_(std::move(records)),
        user_(std::move(user)),
        mayManage_(mayManage) {}

  // Called for each path whose state has changed, on any thread, with no lock held; an empty handler ends
  // that.
  void setChangeHandler(std::function<void(const std::string& path)> handler);

  std::optional<Checkout> of(const std::string& path);
  // The checked-out files of one folder, by name. Empty for nearly every folder.
  std::map<std::string, Checkout, std::less<>> inFolder(const std::string& folder);

  // ERRORS: another user has it; no such file; a file that this user cannot write; those of `writeError`.
  // Doing what is done already is no error.
  std::optional<NSError> checkOut(const std::string& path);
  std::optional<NSError> checkIn(const std::string& path);

  // Why this user cannot change the item, or anything below it, now; nothing when it can.
  std::optional<NSError> refusal(const std::string& path);
  struct Held {
    std::vector<std::unique_ptr<ShareRecords::Lock>> locks;
    bool exclusive = false;
  };
  // Until it is dropped nobody checks out or in what lies in the share. ERRORS: `refusal`; those of
  // `writeError`.
  std::expected<Held, NSError> holdForChange(const std::string& path);
  // The same without asking who has it.
  std::expected<Held, NSError> hold(const std::string& path);

  // Renames the item by `move`, and what is checked out of it with it. ERRORS: `refusal`; those of `move`.
  std::expected<BackendEntry, NSError> move(
      const std::string& from, const std::string& to,
      const std::function<std::expected<BackendEntry, NSError>()>& move);
  // The item is there now, with all below it, and was brought there by this user.
  void carry(const std::string& from, const std::string& to);
  // The item is gone, or another one has taken its place.
  void forget(const std::string& path);

 private:
  struct Known {
    std::string version;
    std::shared_ptr<const CheckoutTable> table = std::make_shared<const CheckoutTable>();
  };
  // Where a path lies: its share, and what follows.
  struct Place {
    std::string share;
    std::string path;
  };
  static Place placeOf(const std::string& path);
  Checkout seen(const CheckoutTable::Entry& entry) const;

  std::shared_ptr<const CheckoutTable> table(const std::string& share);
  std::shared_ptr<const CheckoutTable> take(const std::string& share, std::string version,
                                            CheckoutTable table);
  std::shared_ptr<const CheckoutTable> reread(const std::string& share);
  std::optional<NSError> change(const std::string& share,
                                const std::function<std::optional<NSError>(CheckoutTable&)>& edit);
  std::optional<NSError> store(const std::string& share, ShareRecords::Lock& lock,
                               const CheckoutTable& table);
  void carryLocked(const Place& from, const Place& to, const Held& held);
  std::expected<Held, NSError> holdForMove(const Place& from, const Place& to);

  const std::shared_ptr<ServerBackend> backend_;
  const std::shared_ptr<ShareRecords> records_;
  const std::string user_;
  const bool mayManage_;
  std::mutex mutex_;
  std::map<std::string, Known> known_;  // by share
  std::function<void(const std::string& path)> handler_;
};

}  // namespace zelto
