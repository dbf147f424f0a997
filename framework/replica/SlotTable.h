#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <utility>

namespace zelto {

// The number of a node's place in memory; places are used again.
using Slot = std::uint32_t;
inline constexpr Slot kNoSlot = 0xffffffff;

// A hash table of slots: eight bytes an entry, the keys are wherever the slots lead. Linear probing, and
// removal by shifting back, so that it never fills up with graves.
// THREAD: one writer or many readers.
class SlotTable {
 public:
  std::size_t size() const { return count_; }

  // The first slot under the hash for which `matches(slot)` holds.
  template <typename Matches>
  Slot find(std::uint32_t hash, const Matches& matches) const {
    if (count_ == 0) return kNoSlot;
    for (std::uint32_t at = hash & mask_;; at = (at + 1) & mask_) {
      const Entry& entry = entries_[at];
      if (entry.slot == kNoSlot) return kNoSlot;
      if (entry.hash == hash && matches(entry.slot)) return entry.slot;
    }
  }

  // REQUIRES: the slot is not in the table.
  void insert(std::uint32_t hash, Slot slot) {
    reserve(std::size_t{count_} + 1);
    place(Entry{slot, hash});
    ++count_;
  }

  // REQUIRES: the slot is in the table under this hash.
  void erase(std::uint32_t hash, Slot slot) {
    std::uint32_t hole = hash & mask_;
    while (entries_[hole].slot != slot) hole = (hole + 1) & mask_;
    for (std::uint32_t at = (hole + 1) & mask_; entries_[at].slot != kNoSlot; at = (at + 1) & mask_) {
      const std::uint32_t home = entries_[at].hash & mask_;
      if (((at - home) & mask_) < ((at - hole) & mask_)) continue;  // it would land before its home
      entries_[hole] = entries_[at];
      hole = at;
    }
    entries_[hole].slot = kNoSlot;
    --count_;
  }

  void reserve(std::size_t count) {
    if (count * 4 <= capacity() * 3) return;
    grow(std::bit_ceil(count + count / 3 + 3));
  }

  template <typename Visit>
  void forEach(const Visit& visit) const {
    for (std::size_t at = 0; at < capacity(); ++at) {
      if (entries_[at].slot != kNoSlot) visit(entries_[at].slot);
    }
  }

 private:
  struct Entry {
    Slot slot = kNoSlot;
    std::uint32_t hash = 0;
  };

  std::size_t capacity() const { return entries_ ? std::size_t{mask_} + 1 : 0; }

  void place(Entry entry) {
    std::uint32_t at = entry.hash & mask_;
    while (entries_[at].slot != kNoSlot) at = (at + 1) & mask_;
    entries_[at] = entry;
  }

  void grow(std::size_t newCapacity) {
    const std::size_t before = capacity();
    auto old = std::exchange(entries_, std::make_unique<Entry[]>(newCapacity));
    mask_ = static_cast<std::uint32_t>(newCapacity - 1);
    for (std::size_t at = 0; at < before; ++at) {
      if (old[at].slot != kNoSlot) place(old[at]);
    }
  }

  std::unique_ptr<Entry[]> entries_;
  std::uint32_t mask_ = 0;
  std::uint32_t count_ = 0;
};

}  // namespace zelto
