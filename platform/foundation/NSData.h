#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace zelto {

// Immutable bytes with shared ownership: copying is cheap, and a large block may live in mapped memory.
class NSData {
 public:
  NSData() = default;
  explicit NSData(std::vector<std::byte> bytes);
  static NSData copyOf(std::span<const std::byte> bytes);
  static NSData copyOf(std::string_view text);
  // OWNER: `owner` keeps `bytes` alive for as long as any copy of the result lives.
  static NSData view(std::shared_ptr<const void> owner, std::span<const std::byte> bytes);

  std::span<const std::byte> bytes() const { return bytes_; }
  // What keeps the bytes alive; null for a default value.
  const std::shared_ptr<const void>& owner() const { return owner_; }
  std::string_view text() const;
  std::size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }

  friend bool operator==(const NSData& a, const NSData& b);

 private:
  std::shared_ptr<const void> owner_;
  std::span<const std::byte> bytes_;
};

}  // namespace zelto
