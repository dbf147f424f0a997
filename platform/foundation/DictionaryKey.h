#pragma once

#include <string_view>

namespace zelto {

// The key of a dictionary entry, one pointer wide. Short names are interned in a bounded pool for the
// life of the process, since the same thirty names recur in every item of a listing; what does not fit
// in the pool is owned by its key.
// THREAD: any.
class DictionaryKey {
 public:
  explicit DictionaryKey(std::string_view name);
  DictionaryKey(const DictionaryKey& other);
  DictionaryKey(DictionaryKey&& other) noexcept;
  DictionaryKey& operator=(DictionaryKey other) noexcept;
  ~DictionaryKey();

  std::string_view name() const;

  friend bool operator==(const DictionaryKey& a, const DictionaryKey& b) {
    return a.record_ == b.record_ || a.name() == b.name();
  }

 private:
  struct Record;
  // Interned records are never freed; owned ones are counted.
  Record* record_;
};

}  // namespace zelto
