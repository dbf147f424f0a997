#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace zelto {

// Follows the blocks of a GIF file as its bytes come. The library's reader takes memory for an image of any
// size, however small the canvas is that it lies on, and ends the process when there is not enough.
// THREAD: one at a time.
class GifBlocks {
 public:
  explicit GifBlocks(std::uint64_t mostPixels) : mostPixels_(mostPixels) {}

  // False once an image has more pixels.
  bool take(std::span<const std::byte> bytes);

 private:
  // What the next bytes that are looked at say.
  enum class Field { header, block, extension, image, codeSize, length, end };

  void handle();
  void handleBlock(unsigned char kind);
  void handleImage();
  void expect(Field field, std::size_t after = 0);
  unsigned char byteAt(std::size_t index) const { return static_cast<unsigned char>(bytes_[index]); }
  static std::size_t tableLength(unsigned char flags);

  const std::uint64_t mostPixels_;
  Field field_ = Field::header;
  std::size_t skip_ = 0;  // bytes before it
  std::string bytes_;     // of it, so far
  bool tooLarge_ = false;
};

}  // namespace zelto
