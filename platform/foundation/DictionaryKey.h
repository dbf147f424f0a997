#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <utility>

namespace zelto {

// The key of a dictionary entry, one pointer wide. Short names are interned in a bounded pool for the
// life of the process, since the same thirty names recur in every item of a listing; what does not fit
// in the pool is owned by its key.
// THREAD: any. A key that was moved from may only be assigned to or destroyed.
class DictionaryKey {
 public:
  explicit DictionaryKey(std::string_view name);
  DictionaryKey(const DictionaryKey& other) : record_(other.record_) { retain(); }
  DictionaryKey(DictionaryKey&& other) noexcept : record_(std::exchange(other.record_, nullptr)) {}
  DictionaryKey& operator=(DictionaryKey other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }
  ~DictionaryKey() {
    if (record_ != nullptr && !record_->interned) release();
  }

  std::string_view name() const { return {reinterpret_cast<const char*>(record_ + 1), record_->length}; }

  friend bool operator==(const DictionaryKey& a, const DictionaryKey& b) {
    return a.record_ == b.record_ || a.name() == b.name();
  }

 private:
  // The name's bytes follow the record. Interned records are never freed; owned ones are counted.
  struct Record {
    std::atomic<std::uint32_t> references{1};
    std::uint32_t length : 31;
    std::uint32_t interned : 1;
  };
  struct Pool;

  static Record* makeRecord(std::string_view name, bool interned);
  static void freeRecord(Record* record);
  void retain() {
    if (!record_->interned) record_->references.fetch_add(1, std::memory_order_relaxed);
  }
  void release();

  Record* record_;
};

}  // namespace zelto
