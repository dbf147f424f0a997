#include <cstdlib>

#include "framework/thumbnails/PngText.h"
#include "platform/imaging/ScaledPicture.h"

// The bytes of a picture come from the server. Whatever they are, a picture that is made of them has the size
// that was wanted, and its notes are found again. With the address sanitizer's options
// max_allocation_size_mb=200:allocator_may_return_null=1 it also ends where so much memory is taken by who
// does not expect to get none.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace zelto;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  static_cast<void>(pngText(bytes, "Thumb::MTime"));
  constexpr int kSide = 64;
  auto reader = PictureReader::forStart(bytes.substr(0, PictureReader::kStart), {kSide, 1 << 20});
  if (!reader) return 0;
  const bool taken = reader->take(std::as_bytes(std::span(data, size)));
  const auto picture = reader->finish();
  if (!picture) return 0;
  if (!taken || picture->width() > kSide || picture->height() > kSide) std::abort();
  const auto smaller = picture->fitted(kSide / 2);
  const auto png = smaller ? smaller->png({{"Thumb::MTime", "1"}}) : std::nullopt;
  if (!png || pngText(*png, "Thumb::MTime") != "1") std::abort();
  return 0;
}
