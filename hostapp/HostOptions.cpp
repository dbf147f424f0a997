#include "hostapp/HostOptions.h"

#include <array>

#include <getopt.h>

#include "platform/bus/DomainName.h"

namespace zelto {

namespace {

constexpr std::array<option, 7> kOptions{{{"folder", required_argument, nullptr, 'f'},
                                          {"domain", required_argument, nullptr, 'd'},
                                          {"my-files", required_argument, nullptr, 'm'},
                                          {"offline-files", required_argument, nullptr, 'o'},
                                          {"log", required_argument, nullptr, 'l'},
                                          {"help", no_argument, nullptr, 'h'},
                                          {nullptr, 0, nullptr, 0}}};

std::optional<bool> onOrOff(const std::string& text) {
  if (text == "on") return true;
  if (text == "off") return false;
  return std::nullopt;
}

// Nothing, or what is wrong.
std::optional<std::string> take(HostOptions& options, int code) {
  const std::string value = ::optarg != nullptr ? ::optarg : "";
  switch (code) {
    case 'f':
      options.folder = value;
      break;
    case 'd':
      options.domain = value;
      break;
    case 'm':
      options.useMyFiles = onOrOff(value);
      break;
    case 'o':
      options.useOfflineFiles = onOrOff(value);
      break;
    case 'l':
      options.logPath = value;
      break;
    case 'h':
      options.help = true;
      break;
    default:
      return "See zelto-host --help.";
  }
  if ((code == 'm' && !options.useMyFiles) || (code == 'o' && !options.useOfflineFiles)) {
    return "\"" + value + "\" is neither on nor off.";
  }
  return std::nullopt;
}

}  // namespace

const char* HostOptions::usage() {
  return "zelto-host --folder DIR [--domain NAME] [--my-files on|off] [--offline-files on|off]\n"
         "           [--log FILE]\n"
         "Serves the folders in DIR as the shares of one domain.\n";
}

std::expected<HostOptions, std::string> HostOptions::parse(int argc, char** argv) {
  HostOptions options;
  ::optind = 1;
  for (;;) {
    ::optarg = nullptr;
    const int code = ::getopt_long(argc, argv, "", kOptions.data(), nullptr);
    if (code < 0) break;
    if (auto wrong = take(options, code)) return std::unexpected(*wrong);
  }
  if (options.help) return options;
  if (::optind < argc) return std::unexpected("Unexpected argument: " + std::string(argv[::optind]));
  if (options.folder.empty()) return std::unexpected("--folder is missing. See zelto-host --help.");
  if (!isDomainName(options.domain)) return std::unexpected(kDomainNameRule);
  return options;
}

}  // namespace zelto
