#pragma once

#include <expected>
#include <optional>
#include <string>

namespace zelto {

// What the program was started with.
struct HostOptions {
  std::string folder;
  std::string domain = "default";
  std::optional<bool> useMyFiles;
  std::optional<bool> useOfflineFiles;
  std::string user;  // who checks out files; "": the login name
  bool mayManageCheckouts = false;
  std::string officeOnline;  // URL templates (UrlOpener.h)
  std::string office365;
  std::string openCommand = "xdg-open";
  std::string logPath;  // "": host.log beside the store
  bool help = false;

  // ERRORS: a sentence for the user.
  static std::expected<HostOptions, std::string> parse(int argc, char** argv);
  static const char* usage();
};

}  // namespace zelto
