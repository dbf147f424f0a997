#include "framework/volume/BackgroundReaders.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <span>
#include <string>

#include <fcntl.h>

namespace zelto {
namespace {

// The name that a program was started under decides, not its arguments: those are the user's.
constexpr auto kReadersOfPictures = std::to_array<std::string_view>({
    "gdk-pixbuf-thumbnailer",  // one process for each file, started by Nautilus, Nemo, Caja and PCManFM
    "glycin-thumbnailer",      // the same, later systems
    "tumblerd",                // all kinds; the service of Thunar and PCManFM
});

// As the first ones, for other files.
constexpr auto kReadersOfKinds = std::to_array<std::string_view>({
    "heif-thumbnailer",         // pictures of telephones
    "raw-thumbnailer",          // pictures of cameras
    "totem-video-thumbnailer",  // films
    "ffmpegthumbnailer",        // films
    "gst-video-thumbnailer",    // films, later systems
    "gst-audio-thumbnailer",    // covers of music
    "evince-thumbnailer",       // PDF, of GNOME
    "papers-thumbnailer",       // the same, later systems
    "atril-thumbnailer",        // the same, of MATE
    "xreader-thumbnailer",      // the same, of Cinnamon
    "gsf-office-thumbnailer",   // documents
    "gnome-epub-thumbnailer",   // books
    "gnome-mobi-thumbnailer",   // books
    "gnome-thumbnail-font",     // fonts
});

// They read everything below the home folder, and every change.
constexpr auto kIndexers = std::to_array<std::string_view>({
    "tracker-miner-fs-3",                 // GNOME
    "tracker-extract-3",                  // GNOME, contents
    "tracker-miner-fs",                   // GNOME, older
    "tracker-extract",                    // GNOME, older, contents
    "localsearch-3",                      // GNOME, later systems
    "localsearch-extractor-3",            // the same, contents
    "baloo_file",                         // KDE
    "baloo_file_extractor",               // KDE, contents
    "baloo_filemetadata_temp_extractor",  // the same, for a file that is pointed at
    "recollindex",                        // any desktop
});

// KDE's. None of them reads more than the first bytes before the user has chosen a file.
constexpr auto kBrowsers = std::to_array<std::string_view>({
    "dolphin", "krusader", "konqueror",
    "plasmashell",  // the desktop's own folders
});

// KDE's helpers, among which one copies files and one makes thumbnails. Nobody starts them by hand: their
// first two arguments are a library and the protocol that it serves.
constexpr auto kHelpers = std::to_array<std::string_view>({
    "kioslave5",
    "kioworker",  // later systems
});
constexpr std::string_view kThumbnailProtocol = "thumbnail";

bool isOneOf(std::span<const std::string_view> names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

BackgroundReader backgroundReaderByArguments(std::istream& arguments) {
  std::array<std::string, 3> words;
  for (std::string& word : words) std::getline(arguments, word, '\0');
  const std::string_view program = std::string_view(words[0]).substr(words[0].rfind('/') + 1);
  const bool isHelper = isOneOf(kHelpers, program) && words[2] == kThumbnailProtocol;
  if (isHelper || isOneOf(kReadersOfPictures, program)) return BackgroundReader::ofPictures;
  if (isOneOf(kReadersOfKinds, program)) return BackgroundReader::ofKinds;
  if (isOneOf(kIndexers, program)) return BackgroundReader::ofEverything;
  return isOneOf(kBrowsers, program) ? BackgroundReader::ofNames : BackgroundReader::none;
}

}  // namespace

BackgroundReader backgroundReader(int flags, pid_t thread) {
  if ((flags & O_NOATIME) != 0) return BackgroundReader::ofKinds;
  if (thread <= 0) return BackgroundReader::none;
  // Not the thread's own name (`comm`), which is cut and is often another.
  std::ifstream arguments("/proc/" + std::to_string(thread) + "/cmdline");
  return backgroundReaderByArguments(arguments);
}

}  // namespace zelto
