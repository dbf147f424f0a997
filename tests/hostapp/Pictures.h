#pragma once

#include <memory>
#include <string>

#include <gdk-pixbuf/gdk-pixbuf.h>

namespace zelto::test {

// Pictures made for tests: the left half red, the right half blue.

struct ReleasePixbuf {
  void operator()(GdkPixbuf* pixbuf) const { g_object_unref(pixbuf); }
};
using PixbufHandle = std::unique_ptr<GdkPixbuf, ReleasePixbuf>;

inline std::string picture(const char* format, int width, int height) {
  const PixbufHandle image(gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, width, height));
  gdk_pixbuf_fill(image.get(), 0xff000000U);
  const PixbufHandle right(gdk_pixbuf_new_subpixbuf(image.get(), width / 2, 0, width - width / 2, height));
  gdk_pixbuf_fill(right.get(), 0x0000ff00U);
  gchar* bytes = nullptr;
  gsize size = 0;
  if (gdk_pixbuf_save_to_buffer(image.get(), &bytes, &size, format, nullptr, nullptr) == FALSE) return "";
  std::string made(bytes, size);
  g_free(bytes);
  return made;
}

// The JPEG with a note that a camera held on its side has made it: its left edge belongs to the top.
inline std::string turned(const std::string& jpeg) {
  using namespace std::string_literals;
  const std::string directory = "Exif\0\0II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x06\0\0\0\0\0\0\0"s;
  const auto length = directory.size() + 2;
  std::string note = "\xff\xe1"s;
  note += static_cast<char>(length >> 8);
  note += static_cast<char>(length & 0xff);
  return jpeg.substr(0, 2) + note + directory + jpeg.substr(2);
}

inline PixbufHandle decodedPicture(std::string_view bytes) {
  GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
  gdk_pixbuf_loader_write(loader, reinterpret_cast<const guchar*>(bytes.data()), bytes.size(), nullptr);
  gdk_pixbuf_loader_close(loader, nullptr);
  GdkPixbuf* image = gdk_pixbuf_loader_get_pixbuf(loader);
  if (image != nullptr) g_object_ref(image);
  g_object_unref(loader);
  return PixbufHandle(image);
}

inline bool isRed(const PixbufHandle& image, int x, int y) {
  const auto* pixel = gdk_pixbuf_read_pixels(image.get()) + y * gdk_pixbuf_get_rowstride(image.get()) +
                      x * gdk_pixbuf_get_n_channels(image.get());
  return pixel[0] > 200 && pixel[2] < 60;
}

// Only the beginning of a picture that claims a size.
inline std::string hugePng(std::uint32_t side) {
  using namespace std::string_literals;
  const auto number = [](std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
    return bytes;
  };
  const std::string header = "IHDR" + number(side) + number(side) + "\x08\x06\0\0\0"s;
  std::uint32_t crc = 0xffffffffU;
  for (const char c : header) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320U : 0);
  }
  return "\x89PNG\r\n\x1a\n\0\0\0\x0d"s + header + number(~crc) + "\0\0\x10\0IDAT\x78\x9c"s;
}
inline std::string hugeBmp(std::int32_t side) {
  std::string bytes(54, '\0');
  const auto put = [&bytes](std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
  };
  bytes[0] = 'B';
  bytes[1] = 'M';
  put(10, 54);
  put(14, 40);
  put(18, static_cast<std::uint32_t>(side));
  put(22, static_cast<std::uint32_t>(side));
  bytes[26] = 1;
  bytes[28] = 24;
  return bytes + std::string(1000, 'x');
}
// A canvas of one pixel, and on it an image of so many by so many.
inline std::string wideGif(std::uint16_t side) {
  using namespace std::string_literals;
  const std::string length{static_cast<char>(side & 0xff), static_cast<char>(side >> 8)};
  return "GIF89a\1\0\1\0\x80\0\0\xff\0\0\0\0\xff!\xfe\3abc\0,\0\0\0\0"s + length + length +
         "\0\2\2\x44\1\0;"s;
}
inline std::string hugeGif() {
  using namespace std::string_literals;
  return "GIF89a\xff\xff\xff\xff\x80\0\0\0\0\0\xff\xff\xff,\0\0\0\0\xff\xff\xff\xff\0\x02\x02\x44\x01\0;"s;
}

}  // namespace zelto::test
