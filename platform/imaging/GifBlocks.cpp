#include "platform/imaging/GifBlocks.h"

#include <algorithm>

namespace zelto {

namespace {

constexpr std::size_t kHeader = 13;
constexpr std::size_t kImage = 9;
constexpr unsigned char kExtension = '!';
constexpr unsigned char kImageStart = ',';
constexpr unsigned char kEnd = ';';

}  // namespace

bool GifBlocks::take(std::span<const std::byte> bytes) {
  while (!bytes.empty() && !tooLarge_ && field_ != Field::end) {
    const auto skipped = std::min(skip_, bytes.size());
    skip_ -= skipped;
    bytes = bytes.subspan(skipped);
    if (bytes.empty()) break;
    bytes_ += static_cast<char>(bytes.front());
    bytes = bytes.subspan(1);
    const std::size_t whole = field_ == Field::header ? kHeader : field_ == Field::image ? kImage : 1;
    if (bytes_.size() < whole) continue;
    handle();
    bytes_.clear();
  }
  return !tooLarge_;
}

void GifBlocks::handle() {
  switch (field_) {
    case Field::header:
      return expect(Field::block, tableLength(byteAt(10)));
    case Field::block:
      return handleBlock(byteAt(0));
    case Field::image:
      return handleImage();
    case Field::length:
      // Nothing ends a chain of pieces.
      return byteAt(0) == 0 ? expect(Field::block) : expect(Field::length, byteAt(0));
    case Field::extension:
    case Field::codeSize:
      return expect(Field::length);
    case Field::end:
      return;
  }
}

// What is none of these is passed over, as the library does it.
void GifBlocks::handleBlock(unsigned char kind) {
  if (kind == kExtension) expect(Field::extension);
  if (kind == kImageStart) expect(Field::image);
  if (kind == kEnd) expect(Field::end);
}

void GifBlocks::handleImage() {
  const auto number = [this](std::size_t at) { return byteAt(at) + std::uint64_t{256} * byteAt(at + 1); };
  tooLarge_ = number(4) * number(6) > mostPixels_;
  expect(Field::codeSize, tableLength(byteAt(8)));
}

void GifBlocks::expect(Field field, std::size_t after) {
  field_ = field;
  skip_ = after;
}

// Of the colours that follow, if they do.
std::size_t GifBlocks::tableLength(unsigned char flags) {
  return (flags & 0x80U) != 0 ? std::size_t{3} << ((flags & 7U) + 1) : 0;
}

}  // namespace zelto
