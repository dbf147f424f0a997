#pragma once

#include <functional>
#include <memory>
#include <string>

#include "hostapp/Checkouts.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// A change of the server that takes note of check-outs: each step is done while nobody can check out what it
// changes, and not at all once another user has.
class CheckoutWork : public BackendWork {
 public:
  enum class Kind : std::uint8_t { upload, removal, copy };
  struct What {
    Kind kind;
    std::string path;
    std::string destination;  // the path itself, but for a copy
  };
  using Begin = std::function<std::expected<std::unique_ptr<BackendWork>, NSError>()>;
  // ERRORS: another user has checked out the item, or something in it; those of `begin`.
  static std::expected<std::unique_ptr<BackendWork>, NSError> begin(std::shared_ptr<Checkouts> checkouts,
                                                                    What what, const Begin& begin);

  std::expected<bool, NSError> step() override;
  bool canBeCancelled() const override { return inner_->canBeCancelled(); }
  Amount amount() const override { return inner_->amount(); }
  std::optional<BackendEntry> result() const override;

 private:
  CheckoutWork(std::unique_ptr<BackendWork> inner, std::shared_ptr<Checkouts> checkouts, What what)
      : inner_(std::move(inner)), checkouts_(std::move(checkouts)), what_(std::move(what)) {}

  const std::unique_ptr<BackendWork> inner_;
  const std::shared_ptr<Checkouts> checkouts_;
  const What what_;
};

}  // namespace zelto
