#include "platform/foundation/DictionaryKey.h"

#include <array>
#include <cstring>
#include <functional>
#include <new>

namespace zelto {
namespace {

constexpr std::size_t kLongestInternedName = 40;
constexpr std::size_t kSlots = 4096;
constexpr std::size_t kProbes = 8;

}  // namespace

// An open hash table that only grows until its slots are full, so that a reader needs no lock.
struct DictionaryKey::Pool {
  std::array<std::atomic<Record*>, kSlots> slots{};

  static Pool& shared() {
    // Never destroyed: keys may outlive every other static object.
    static Pool* const pool = new Pool;
    return *pool;
  }

  // Null when the neighbourhood of the name's slot is taken by other names.
  Record* intern(std::string_view name) {
    const std::size_t hash = std::hash<std::string_view>{}(name);
    for (std::size_t probe = 0; probe < kProbes; ++probe) {
      Record* const found = occupant(slots[(hash + probe) % kSlots], name);
      if (found->length == name.size() &&
          std::memcmp(static_cast<const void*>(found + 1), name.data(), name.size()) == 0) {
        return found;
      }
    }
    return nullptr;
  }

  // The record in the slot; an empty slot takes the name.
  static Record* occupant(std::atomic<Record*>& slot, std::string_view name) {
    Record* there = slot.load(std::memory_order_acquire);
    if (there != nullptr) return there;
    Record* const made = makeRecord(name, true);
    if (slot.compare_exchange_strong(there, made, std::memory_order_acq_rel)) return made;
    freeRecord(made);
    return there;
  }
};

DictionaryKey::Record* DictionaryKey::makeRecord(std::string_view name, bool interned) {
  void* const memory = ::operator new(sizeof(Record) + name.size());
  auto* const record = new (memory) Record;
  record->length = static_cast<std::uint32_t>(name.size()) & 0x7fffffffU;
  record->interned = interned ? 1 : 0;
  if (!name.empty()) std::memcpy(static_cast<void*>(record + 1), name.data(), name.size());
  return record;
}

void DictionaryKey::freeRecord(Record* record) {
  record->~Record();
  ::operator delete(record);
}

DictionaryKey::DictionaryKey(std::string_view name) : record_(nullptr) {
  if (name.size() <= kLongestInternedName) record_ = Pool::shared().intern(name);
  if (record_ == nullptr) record_ = makeRecord(name, false);
}

void DictionaryKey::release() {
  if (record_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) freeRecord(record_);
}

}  // namespace zelto
