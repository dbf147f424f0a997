#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace zelto {

// Plain values and byte strings one after the other, in this machine's order: for what stays on it.
template <typename Plain>
void putPlain(std::string& to, const Plain& value) {
  static_assert(std::is_trivially_copyable_v<Plain>);
  to.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// Reads what was put. Once something does not fit, everything after reads as zero and `failed()` holds.
class ByteReader {
 public:
  explicit ByteReader(std::string_view left) : left_(left) {}

  template <typename Plain>
  Plain plain() {
    static_assert(std::is_trivially_copyable_v<Plain>);
    Plain value{};
    const std::string_view raw = bytes(sizeof value);
    if (!failed_) std::memcpy(&value, raw.data(), sizeof value);
    return value;
  }

  std::string_view bytes(std::size_t count) {
    if (failed_ || count > left_.size()) {
      failed_ = true;
      left_ = {};
      return {};
    }
    const std::string_view taken = left_.substr(0, count);
    left_.remove_prefix(count);
    return taken;
  }

  bool failed() const { return failed_; }
  bool atEnd() const { return left_.empty(); }

 private:
  std::string_view left_;
  bool failed_ = false;
};

}  // namespace zelto
