#include <algorithm>

#include "framework/volume/Volume.h"

namespace zelto {
namespace {

void want(fuse_conn_info* connection, unsigned capability, bool wanted = true) {
  if (wanted && (connection->capable & capability) != 0) connection->want |= capability;
  if (!wanted) connection->want &= ~capability;
}

}  // namespace

void volume::init(void*, fuse_conn_info* connection) {
  want(connection, FUSE_CAP_ASYNC_READ);
  want(connection, FUSE_CAP_ASYNC_DIO);
  want(connection, FUSE_CAP_PARALLEL_DIROPS);
  want(connection, FUSE_CAP_CACHE_SYMLINKS);
  want(connection, FUSE_CAP_ATOMIC_O_TRUNC);
  want(connection, FUSE_CAP_HANDLE_KILLPRIV);
  // Writes come through at once: dates, sizes and what a change on the server means for them stay ours.
  want(connection, FUSE_CAP_WRITEBACK_CACHE, false);
  // A request with 1 MiB needs a longer pipe than users may have, and with a shorter one it was no faster.
  want(connection, FUSE_CAP_SPLICE_READ, false);
  want(connection, FUSE_CAP_SPLICE_WRITE);
  want(connection, FUSE_CAP_SPLICE_MOVE);
  // Every listing carries the attributes: the replica has them at hand.
  want(connection, FUSE_CAP_READDIRPLUS);
  want(connection, FUSE_CAP_READDIRPLUS_AUTO, false);
  // Pages go when we say so, not when a date differs.
  want(connection, FUSE_CAP_AUTO_INVAL_DATA, false);
  want(connection, FUSE_CAP_EXPLICIT_INVAL_DATA);
  connection->max_readahead = std::max(connection->max_readahead, 1U << 20);
  connection->max_write = 1U << 20;
  connection->max_background = 64;
  connection->congestion_threshold = 48;
  // Granularity of our dates, in nanoseconds.
  connection->time_gran = 1;
}

}  // namespace zelto
