#include "hostapp/CheckoutWork.h"

#include "hostapp/CheckoutBackend.h"

namespace zelto {

std::expected<std::unique_ptr<BackendWork>, NSError> CheckoutWork::begin(std::shared_ptr<Checkouts> checkouts,
                                                                         What what, const Begin& begin) {
  if (auto error = checkouts->refusal(what.path)) return std::unexpected(*error);
  auto inner = begin();
  if (!inner) return inner;
  return std::unique_ptr<BackendWork>(
      new CheckoutWork(std::move(*inner), std::move(checkouts), std::move(what)));
}

// What a check-out says of a file that is not there any more does not count, and ends with the next file of
// that name.
std::expected<bool, NSError> CheckoutWork::step() {
  bool done = false;
  bool outlived = false;
  {
    const auto held = checkouts_->holdForChange(what_.path);
    if (!held) return std::unexpected(held.error());
    const auto checkout = checkouts_->of(what_.path);
    outlived = checkout && !checkout->own;
    const auto stepped = inner_->step();
    if (!stepped) return stepped;
    done = *stepped;
  }
  if (!done) return done;
  if (what_.kind == Kind::copy) checkouts_->carry(what_.path, what_.destination);
  if (what_.kind == Kind::removal || (what_.kind == Kind::upload && outlived)) checkouts_->forget(what_.path);
  return done;
}

std::optional<BackendEntry> CheckoutWork::result() const {
  auto entry = inner_->result();
  if (entry) showCheckout(*entry, checkouts_->of(what_.destination));
  return entry;
}

}  // namespace zelto
