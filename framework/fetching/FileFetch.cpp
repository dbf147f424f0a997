#include "framework/fetching/FileFetch.h"

#include <algorithm>
#include <cerrno>

namespace zelto {
namespace {

bool overlap(NSRange a, NSRange b) { return a.location < b.end() && b.location < a.end(); }

// The range grown to whole blocks, within the file.
NSRange aligned(NSRange range, std::uint64_t size) {
  const std::uint64_t start = range.location / FileFetch::kAlignment * FileFetch::kAlignment;
  const std::uint64_t end = std::min(
      size, (range.end() + FileFetch::kAlignment - 1) / FileFetch::kAlignment * FileFetch::kAlignment);
  return {start, end > start ? end - start : 0};
}

}  // namespace

std::vector<Transfer> FileFetch::plan(NSRange range, std::uint64_t& nextId) {
  std::vector<Transfer> planned;
  const auto add = [&](NSRange piece, bool whole) {
    transfers_.push_back({nextId++, piece, whole});
    planned.push_back(transfers_.back());
  };
  const std::uint64_t size = content_->size();
  if (content_->missing(range).empty()) return planned;
  if (size <= kWholeFileLimit) {
    if (transfers_.empty()) add({0, size}, true);
    return planned;
  }
  RangeSet coming;
  for (const Transfer& transfer : transfers_) coming.add(transfer.range);
  for (const NSRange gap : content_->missing(aligned(range, size))) {
    for (NSRange piece : coming.missing(gap)) {
      while (piece.length > 0) {
        const std::uint64_t length = std::min(piece.length, kLongestTransfer);
        add({piece.location, length}, false);
        piece = {piece.location + length, piece.length - length};
      }
    }
  }
  return planned;
}

std::vector<Transfer> FileFetch::planForWaiters(std::uint64_t& nextId) {
  std::vector<Transfer> planned;
  for (const Wait& wait : waits_) {
    for (const Transfer& transfer : plan(wait.range, nextId)) planned.push_back(transfer);
  }
  return planned;
}

bool FileFetch::isOnItsWay(NSRange range) const {
  return std::ranges::any_of(transfers_, [&](const Transfer& t) { return overlap(t.range, range); });
}

std::vector<FileFetch::Done> FileFetch::end(std::uint64_t transfer, int error) {
  std::vector<Done> done;
  const auto ended = std::ranges::find(transfers_, transfer, &Transfer::id);
  // A late answer to a forgotten transfer may bring bytes, but it fails nobody.
  const bool known = ended != transfers_.end();
  const NSRange range = known ? ended->range : NSRange{};
  if (known) transfers_.erase(ended);
  std::erase_if(waits_, [&](Wait& wait) {
    if (content_->covers(wait.range)) {
      done.push_back({std::move(wait.waiter), 0});
      return true;
    }
    if (!known) return false;
    // A delivery that left a gap is not asked for again without end: its waiters are told.
    const bool failed = error != 0 && overlap(wait.range, range);
    if (!failed && isOnItsWay(wait.range)) return false;
    done.push_back({std::move(wait.waiter), error != 0 ? error : EIO});
    return true;
  });
  return done;
}

void FileFetch::dropThoseWhoGaveUp() {
  std::erase_if(waits_, [](const Wait& wait) { return wait.waiter->gaveUp(); });
}

std::vector<WaiterPtr> FileFetch::waiters() const {
  std::vector<WaiterPtr> all;
  for (const Wait& wait : waits_) all.push_back(wait.waiter);
  return all;
}

}  // namespace zelto
