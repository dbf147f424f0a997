#pragma once

#include <memory>

#include "framework/fetching/Materialiser.h"
#include "framework/replica/Replica.h"
#include "framework/requests/Waiter.h"

namespace zelto {

// Waits on behalf of somebody until all bytes of a file's present version are here. If another version comes
// in between, that one is waited for, a few times.
class WholeContent final : public Waiter, public std::enable_shared_from_this<WholeContent> {
 public:
  // COMPLETES: `waiter`, with 0 or an errno value.
  static void ensure(Replica& replica, Materialiser& materialiser, Inode inode, WaiterPtr waiter);

  void done(int error) override;
  void progressed() override { waiter_->progressed(); }
  bool gaveUp() const override { return waiter_->gaveUp(); }

 private:
  WholeContent(Replica& replica, Materialiser& materialiser, Inode inode, WaiterPtr waiter)
      : replica_(replica), materialiser_(materialiser), inode_(inode), waiter_(std::move(waiter)) {}

  void next();

  Replica& replica_;
  Materialiser& materialiser_;
  const Inode inode_;
  const WaiterPtr waiter_;
  int triesLeft_ = 4;
};

}  // namespace zelto
