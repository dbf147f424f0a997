#include "framework/thumbnails/ThumbnailCache.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <expected>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/thumbnails/FileUri.h"
#include "framework/thumbnails/PngText.h"
#include "platform/foundation/CommonCrypto.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/UniqueDescriptor.h"
#include "platform/foundation/UuidName.h"
#include "platform/imaging/ScaledPicture.h"

namespace zelto {

namespace {

namespace fs = std::filesystem;

struct Size {
  const char* folder;
  int side;
};
// The larger one first: the smaller is made of it.
constexpr std::array kSizes{Size{"large", 256}, Size{"normal", 128}};
// Others may have made these of a file that was here.
constexpr std::array kFolders{"normal", "large", "x-large", "xx-large"};
// The notes come first in a file, and a URI has no more than three characters for each byte of a path.
constexpr std::size_t kNotes = 16 << 10;

std::string nameOf(const std::string& uri) {
  std::string name;
  for (const auto byte : digestMD5(uri)) name += fmt::format("{:02x}", byte);
  return name + ".png";
}

// The beginning of a file, at most so much; empty where it cannot be read.
std::string startOf(const std::string& file, std::size_t most) {
  const UniqueDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!descriptor || ::fstat(descriptor.get(), &status) != 0) return {};
  std::string bytes(std::min(most, static_cast<std::size_t>(status.st_size)), '\0');
  const auto count = ::read(descriptor.get(), bytes.data(), bytes.size());
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

bool isOf(std::string_view png, const std::string& uri, std::int64_t modified) {
  return pngText(png, "Thumb::MTime") == fmt::to_string(modified) && pngText(png, "Thumb::URI") == uri;
}

bool makeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), S_IRWXU) == 0 || errno == EEXIST) return true;
  const auto parent = stringByDeletingLastPathComponent(path);
  if (errno != ENOENT || parent.empty() || parent == path) return false;
  return makeFolder(parent) && (::mkdir(path.c_str(), S_IRWXU) == 0 || errno == EEXIST);
}

NSError failure(const std::string& file) {
  return errorWithPOSIXCode(errno, fmt::format("\"{}\": {}", file, std::strerror(errno)));
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const auto count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

const char* reasonFor(PictureFault fault) {
  switch (fault) {
    case PictureFault::unknownKind:
      return "this is no picture";
    case PictureFault::noReader:
      return "the system cannot read such pictures";
    case PictureFault::tooManyPixels:
      return "the picture has too many pixels";
    case PictureFault::broken:
      break;
  }
  return "the picture is broken";
}

std::expected<ScaledPicture, const char*> pictureOf(const NSData& image) {
  if (image.size() > ThumbnailCache::kMostBytes) return std::unexpected("the picture is too large");
  auto reader = PictureReader::forStart(image.text().substr(0, PictureReader::kStart),
                                        {.side = kSizes.front().side, .pixels = ThumbnailCache::kMostPixels});
  if (!reader) return std::unexpected(reasonFor(reader.error()));
  reader->take(image.bytes());
  auto picture = reader->finish();
  if (!picture) return std::unexpected(reasonFor(picture.error()));
  return *std::move(picture);
}

}  // namespace

std::string ThumbnailCache::userFolder() {
  return stringByAppendingPathComponent(cachesDirectory(), "thumbnails");
}

std::string ThumbnailCache::file(const char* folder, const std::string& name) const {
  return folder_ + "/" + folder + "/" + name;
}

bool ThumbnailCache::isCurrent(const std::string& path, std::int64_t modified) const {
  const auto uri = fileUri(path);
  const auto name = nameOf(uri);
  std::string start;
  return std::ranges::all_of(kSizes, [&](const Size& size) {
    start = startOf(file(size.folder, name), kNotes);
    return isOf(start, uri, modified);
  });
}

std::optional<std::string> ThumbnailCache::picture(const std::string& path, std::int64_t modified) const {
  const auto uri = fileUri(path);
  auto png = startOf(file(kSizes.front().folder, nameOf(uri)), kMostBytes);
  if (png.size() == kMostBytes || !isOf(png, uri, modified)) return std::nullopt;
  return png;
}

std::optional<NSError> ThumbnailCache::store(const std::string& path, std::int64_t modified,
                                             const NSData& image, std::int32_t microseconds) const {
  auto picture = pictureOf(image);
  if (!picture) return errorWithPOSIXCode(EINVAL, fmt::format("\"{}\": {}", path, picture.error()));
  const auto uri = fileUri(path);
  const auto name = nameOf(uri);
  const ScaledPicture::Texts notes{
      {"Thumb::URI", uri}, {"Thumb::MTime", fmt::to_string(modified)}, {"Software", "Zelto"}};
  const auto exact = fmt::format("{}.{:06}", modified, microseconds);
  for (const auto& size : kSizes) {
    const auto fitted = picture->fitted(size.side);
    const auto png = fitted ? fitted->png(notes) : std::nullopt;
    if (!png) return errorWithPOSIXCode(ENOMEM, fmt::format("\"{}\": no memory for its picture", path));
    // Thumbnailers differ: most want the whole second of the date and compare it as text, Xfce's wants all of
    // it. That one takes the first text of this name, of any kind; the others the plain one, or the last.
    const auto noted = microseconds == 0 ? *png : withPngText(*png, "Thumb::MTime", exact);
    if (auto error = write(size.folder, name, noted)) return error;
  }
  removeFailures(name);
  return std::nullopt;
}

std::optional<NSError> ThumbnailCache::write(const char* folder, const std::string& name,
                                             std::string_view bytes) const {
  const auto temporary = file(folder, newUuidName());
  const auto create = [&temporary] {
    return ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  };
  UniqueDescriptor descriptor(create());
  if (!descriptor && errno == ENOENT && makeFolder(folder_ + "/" + folder)) descriptor.reset(create());
  if (!descriptor) return failure(temporary);
  const auto target = file(folder, name);
  if (writeAll(descriptor.get(), bytes) && ::rename(temporary.c_str(), target.c_str()) == 0)
    return std::nullopt;
  auto error = failure(target);
  ::unlink(temporary.c_str());
  return error;
}

// One folder for each program that has tried.
void ThumbnailCache::removeFailures(const std::string& name) const {
  std::error_code error;
  for (fs::directory_iterator at(folder_ + "/fail", error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    ::unlink((at->path() / name).c_str());
  }
}

void ThumbnailCache::remove(const std::string& path) const {
  const auto name = nameOf(fileUri(path));
  for (const auto* folder : kFolders) ::unlink(file(folder, name).c_str());
  removeFailures(name);
}

}  // namespace zelto
