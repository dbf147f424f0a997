#include "framework/volume/BackgroundReaders.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string>

#include <fcntl.h>

namespace zelto {
namespace {

// The name that a program was started under decides, never its arguments: those are the user's. So a helper
// that does other work, too, cannot be here (Dolphin's make thumbnails and copy files under one name).
constexpr auto kMakersOfPictures = std::to_array<std::string_view>({
    // Thumbnails, one process for each file, started by Nautilus, Nemo, Caja and PCManFM.
    "gdk-pixbuf-thumbnailer",   // pictures
    "glycin-thumbnailer",       // pictures, later systems
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
    "tumblerd",                 // all kinds; the service of Thunar and PCManFM
});

// They read everything below the home folder, and every change.
constexpr auto kIndexers = std::to_array<std::string_view>({
    "tracker-miner-fs-3",       // GNOME
    "tracker-extract-3",        // GNOME, contents
    "tracker-miner-fs",         // GNOME, older
    "tracker-extract",          // GNOME, older, contents
    "localsearch-3",            // GNOME, later systems
    "localsearch-extractor-3",  // the same, contents
    "baloo_file",               // KDE
    "baloo_file_extractor",     // KDE, contents
    "recollindex",              // any desktop
});

}  // namespace

BackgroundReader backgroundReaderByName(std::string_view program) {
  if (std::ranges::find(kMakersOfPictures, program) != kMakersOfPictures.end())
    return BackgroundReader::ofPictures;
  if (std::ranges::find(kIndexers, program) != kIndexers.end()) return BackgroundReader::ofEverything;
  return BackgroundReader::none;
}

BackgroundReader backgroundReader(int flags, pid_t thread) {
  if ((flags & O_NOATIME) != 0) return BackgroundReader::ofPictures;
  if (thread <= 0) return BackgroundReader::none;
  // Not the thread's own name (`comm`), which is cut and is often another.
  std::ifstream arguments("/proc/" + std::to_string(thread) + "/cmdline");
  std::string program;
  if (!std::getline(arguments, program, '\0')) return BackgroundReader::none;
  return backgroundReaderByName(std::string_view(program).substr(program.rfind('/') + 1));
}

}  // namespace zelto
