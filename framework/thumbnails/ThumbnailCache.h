#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSError.h"

namespace zelto {

// The user's thumbnail cache, which all file browsers share: of each file a picture of at most 128 and one of
// at most 256 pixels, named after its URI, with the date of the file that it shows.
// THREAD: any; what several write at once is always one of it, whole. BLOCKS: on the disk.
class ThumbnailCache {
 public:
  // More than a host has reason to send.
  static constexpr std::size_t kMostBytes = 16 << 20;
  static constexpr std::uint64_t kMostPixels = 16 << 20;

  // Folders are made when something is written.
  explicit ThumbnailCache(std::string folder = userFolder()) : folder_(std::move(folder)) {}
  static std::string userFolder();

  // Whether both pictures are there, of a file at this path with this date (whole seconds since 1970).
  bool isCurrent(const std::string& path, std::int64_t modified) const;
  // The larger picture as a PNG file, where it is there as above.
  std::optional<std::string> picture(const std::string& path, std::int64_t modified) const;
  // Makes both of the bytes of an image (PNG, JPEG, GIF, BMP, TIFF, WebP), never larger than that, in place
  // of what was there; also what says that none could be made. `microseconds`: of the file's date, after the
  // whole second. ERRORS: no picture, or too large a one; the disk's.
  std::optional<NSError> store(const std::string& path, std::int64_t modified, const NSData& image,
                               std::int32_t microseconds = 0) const;
  // Whatever there is of a file that is gone.
  void remove(const std::string& path) const;

 private:
  // A file is named the same in every folder of the cache.
  std::string file(const char* folder, const std::string& name) const;
  void removeFailures(const std::string& name) const;
  std::optional<NSError> write(const char* folder, const std::string& name, std::string_view bytes) const;

  std::string folder_;
};

}  // namespace zelto
