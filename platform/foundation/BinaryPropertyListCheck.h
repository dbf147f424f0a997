#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zelto {

// Follows the references of a binary property list from its root and measures the tree that they span.
class BinaryPropertyListCheck {
 public:
  // REQUIRES: `bytes` outlives the check.
  explicit BinaryPropertyListCheck(std::span<const std::byte> bytes) : bytes_(bytes) {}

  // The reason why the list must not be read, or nothing.
  std::optional<std::string> problem();

 private:
  // An object as written: what it holds itself and where its references stand.
  struct Object {
    std::uint64_t payload = 0;
    std::uint64_t referencesAt = 0;
    std::uint64_t referenceCount = 0;
  };
  struct Measure {
    enum class State : std::uint8_t { kUnknown, kOpen, kKnown };
    State state = State::kUnknown;
    std::uint32_t height = 0;
    std::uint64_t cost = 0;
  };

  bool readTrailer();
  bool measure(std::uint64_t index, std::uint32_t depth);
  bool measureReferences(const Object& object, std::uint32_t depth, Measure& sum);
  std::optional<Object> objectAt(std::uint64_t offset) const;
  std::optional<Object> sizedObject(unsigned type, std::uint64_t count, std::uint64_t contentAt) const;
  std::optional<std::uint64_t> number(std::uint64_t offset, std::uint64_t width) const;
  bool fail(const char* reason);

  std::span<const std::byte> bytes_;
  std::uint64_t offsetWidth_ = 0;
  std::uint64_t referenceWidth_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t offsetTable_ = 0;
  std::vector<Measure> measures_;
  std::string problem_;
};

}  // namespace zelto
