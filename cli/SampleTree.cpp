#include "cli/SampleTree.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string_view>

#include <fmt/format.h>

#include "platform/foundation/NSFileManager.h"

namespace zelto::cli {

namespace {

struct SampleFile {
  std::string_view path;
  std::string_view content;
};

constexpr std::array kFiles{
    SampleFile{"Documents/Welcome.txt",
               "Welcome to Zelto.\n\n"
               "This is a sample server: three shares in a folder of this machine. The file system that you\n"
               "read this in is made of it on demand: nothing is here until it is read.\n\n"
               "Try:\n"
               "  zelto status           what runs, and how much is here\n"
               "  zelto ls .             what is known of this folder\n"
               "  zelto fetch Big.dat    fetch a whole file\n"
               "  zelto evict Big.dat    drop its local copy\n"},
    SampleFile{"Documents/Reports/2024/Summary.md", "# Summary\n\nRevenue is up, costs are down.\n"},
    SampleFile{"Documents/Reports/2024/Figures.csv",
               "month,income,expenses\n1,1200,900\n2,1350,870\n3,1100,910\n"},
    SampleFile{"Documents/Reports/2023/Summary.md", "# Summary\n\nA quiet year.\n"},
    SampleFile{"Documents/Empty file.txt", ""},
    SampleFile{"Documents/Grüße aus Köln.txt", "Viele Grüße!\n"},
    SampleFile{"Documents/日本語/こんにちは.txt", "こんにちは、世界\n"},
    SampleFile{"Documents/Ελληνικά.txt", "Καλημέρα κόσμε\n"},
    SampleFile{"Projects/Rocket/README.md", "# Rocket\n\nDestination: the moon.\n"},
    SampleFile{"Projects/Rocket/src/main.c",
               "#include <stdio.h>\n\nint main(void) { puts(\"lift-off\"); }\n"},
    SampleFile{"Projects/Rocket/notes/to do.txt", "- fuel\n- snacks\n"},
    SampleFile{"Pictures/Captions.txt", "Sunset.bmp: drawn by a formula\n"},
};

constexpr std::size_t kBigFileSize = std::size_t{8} << 20U;
constexpr std::uint32_t kPictureWidth = 240;
constexpr std::uint32_t kPictureHeight = 160;

std::filesystem::path native(std::string_view path) { return {std::string(path)}; }

bool writeFile(const std::filesystem::path& path, std::string_view content) {
  std::error_code error;
  std::filesystem::create_directories(path.parent_path(), error);
  std::ofstream file(path, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  return !file.fail();
}

// Lines of 64 bytes that tell their own offset, so that whoever reads a range sees whether it is the right
// one.
std::string bigFile() {
  std::string content;
  content.reserve(kBigFileSize);
  while (content.size() < kBigFileSize) {
    content += fmt::format("{:012} Zelto sample: this line starts at that very offset\n", content.size());
  }
  content.resize(kBigFileSize);
  return content;
}

void append(std::string& to, std::uint32_t value, unsigned bytes) {
  for (unsigned index = 0; index < bytes; ++index) to += static_cast<char>(value >> (8 * index) & 0xFFU);
}

// An uncompressed bitmap, the one image format that needs no library to write.
std::string picture() {
  constexpr std::uint32_t kHeader = 54;
  std::string image = "BM";
  append(image, kHeader + 3 * kPictureWidth * kPictureHeight, 4);
  append(image, 0, 4);
  append(image, kHeader, 4);
  append(image, 40, 4);
  append(image, kPictureWidth, 4);
  append(image, kPictureHeight, 4);
  append(image, 1, 2);
  append(image, 24, 2);
  for (int field = 0; field < 6; ++field) append(image, 0, 4);
  for (std::uint32_t y = 0; y < kPictureHeight; ++y) {
    for (std::uint32_t x = 0; x < kPictureWidth; ++x) {
      const std::uint32_t dx = x - kPictureWidth / 2;
      const std::uint32_t dy = y - kPictureHeight / 3;
      const bool sun = dx * dx + dy * dy < 900;
      const std::uint32_t height = 255 * y / kPictureHeight;
      append(image, sun ? 60 : 60 + height / 2, 1);
      append(image, sun ? 200 : 40 + height / 3, 1);
      append(image, sun ? 255 : 250 - height / 2, 1);
    }
  }
  return image;
}

bool writeLink(const std::filesystem::path& path, const char* target) {
  std::error_code error;
  std::filesystem::create_symlink(target, path, error);
  return !error;
}

bool writeAll(const std::filesystem::path& folder) {
  for (const SampleFile& file : kFiles) {
    if (!writeFile(folder / native(file.path), file.content)) return false;
  }
  return writeFile(folder / "Documents/Big.dat", bigFile()) &&
         writeFile(folder / "Pictures/Sunset.bmp", picture()) &&
         writeLink(folder / "Documents/Latest report", "Reports/2024/Summary.md");
}

}  // namespace

std::string sampleFolder() { return dataHome() + "/sample"; }

Outcome makeSampleTree(const std::string& folder) {
  std::error_code error;
  if (std::filesystem::exists(folder, error)) return {};
  // Made beside and put in place whole: an interrupted run leaves no half of a sample.
  const std::string unfinished = folder + ".new";
  std::filesystem::remove_all(unfinished, error);
  std::filesystem::create_directories(unfinished, error);
  if (!error && writeAll(unfinished)) std::filesystem::rename(unfinished, folder, error);
  if (!error && std::filesystem::exists(folder, error)) return {};
  return failure(ExitCode::failed,
                 fmt::format("The sample cannot be made in {}: {}. Name a folder of shares of your "
                             "own, or set ZELTO_DATA_HOME.",
                             folder, error ? error.message() : "it cannot be written"));
}

}  // namespace zelto::cli
