#include "framework/volume/WholeContent.h"

#include <cerrno>

#include "framework/requests/Errno.h"

namespace zelto {

void WholeContent::ensure(Replica& replica, Materialiser& materialiser, Inode inode, WaiterPtr waiter) {
  std::shared_ptr<WholeContent>(new WholeContent(replica, materialiser, inode, std::move(waiter)))->next();
}

void WholeContent::next() {
  --triesLeft_;
  const auto content = replica_.content(inode_);
  if (!content) return waiter_->done(errnoForError(content.error()));
  materialiser_.ensure(*content, {0, (*content)->size()}, 0, shared_from_this());
}

void WholeContent::done(int error) {
  if (error == ESTALE && triesLeft_ > 0 && !gaveUp()) return next();
  waiter_->done(error);
}

}  // namespace zelto
