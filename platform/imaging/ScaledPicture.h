#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zelto {

// Why there is no picture.
enum class PictureFault {
  unknownKind,  // the first bytes are of no kind that is read here
  noReader,     // of such a kind, but the system has nothing to read it
  tooManyPixels,
  broken,
};

// A small picture, held as pixels.
class ScaledPicture {
 public:
  struct Handle;  // the library's
  explicit ScaledPicture(std::shared_ptr<const Handle> handle) : handle_(std::move(handle)) {}

  int width() const;
  int height() const;
  // The same picture with no side longer than that; itself where none is. ERRORS: nothing without memory.
  std::optional<ScaledPicture> fitted(int side) const;
  // As a PNG file with these texts in it. REQUIRES: keys of 1 to 79 ASCII characters, values in ASCII.
  using Texts = std::vector<std::pair<std::string, std::string>>;
  std::optional<std::string> png(const Texts& texts = {}) const;

 private:
  std::shared_ptr<const Handle> handle_;
};

// Reads a picture piece by piece and scales it on the way. Kinds: PNG, JPEG, GIF (its first image), BMP,
// TIFF, WebP where the system has its reader; the content decides. THREAD: one at a time.
class PictureReader {
 public:
  struct Limits {
    int side;              // no side of what is made is longer
    std::uint64_t pixels;  // a picture with more of them is refused before memory is taken for them
  };
  // As many of the first bytes tell the kind.
  static constexpr std::size_t kStart = 16;

  // `start` is taken again with the rest.
  static std::expected<PictureReader, PictureFault> forStart(std::string_view start, const Limits& limits);
  PictureReader(PictureReader&&) noexcept;
  ~PictureReader();

  // False when no more is wanted, as it is no picture or too large.
  bool take(std::span<const std::byte> bytes);
  // Upright, never larger than the original. One that was cut is blank where nothing came, if its kind is
  // read line by line. REQUIRES: called once, after the last piece.
  std::expected<ScaledPicture, PictureFault> finish();

 private:
  struct State;
  explicit PictureReader(std::unique_ptr<State> state);

  std::unique_ptr<State> state_;
};

}  // namespace zelto
