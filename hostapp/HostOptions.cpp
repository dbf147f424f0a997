#include "hostapp/HostOptions.h"

#include <array>
#include <cstdlib>

#include <getopt.h>

#include "hostapp/Checkout.h"
#include "hostapp/UrlOpener.h"
#include "platform/bus/DomainName.h"

namespace zelto {

namespace {

constexpr std::array<option, 12> kOptions{{{"folder", required_argument, nullptr, 'f'},
                                           {"domain", required_argument, nullptr, 'd'},
                                           {"my-files", required_argument, nullptr, 'm'},
                                           {"offline-files", required_argument, nullptr, 'o'},
                                           {"log", required_argument, nullptr, 'l'},
                                           {"user", required_argument, nullptr, 'u'},
                                           {"manage-checkouts", no_argument, nullptr, 'c'},
                                           {"office-online", required_argument, nullptr, '1'},
                                           {"office-365", required_argument, nullptr, '3'},
                                           {"open-command", required_argument, nullptr, 'x'},
                                           {"help", no_argument, nullptr, 'h'},
                                           {nullptr, 0, nullptr, 0}}};

std::optional<bool> onOrOff(const std::string& text) {
  if (text == "on") return true;
  if (text == "off") return false;
  return std::nullopt;
}

// Nothing, or what is wrong.
std::optional<std::string> wrongValue(int code, const std::string& value) {
  if (code == 'u' && !isUserName(value)) return "\"" + value + "\" cannot be a user's name.";
  if ((code == '1' || code == '3') && !isUrlTemplate(value)) return "\"" + value + "\" is not a URL.";
  if (code == 'x' && value.empty()) return "--open-command is empty.";
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
    case 'u':
      options.user = value;
      break;
    case 'c':
      options.mayManageCheckouts = true;
      break;
    case '1':
      options.officeOnline = value;
      break;
    case '3':
      options.office365 = value;
      break;
    case 'x':
      options.openCommand = value;
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
  return wrongValue(code, value);
}

// What is set up for all hosts of a user. Nothing, or what is wrong.
std::optional<std::string> takeEnvironment(HostOptions& options) {
  const auto take = [](const char* name, int code, std::string& into) -> std::optional<std::string> {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') return std::nullopt;
    into = value;
    const auto wrong = wrongValue(code, into);
    return wrong ? std::optional(std::string(name) + ": " + *wrong) : std::nullopt;
  };
  auto wrong = take("ZELTO_USER", 'u', options.user);
  if (!wrong) wrong = take("ZELTO_OFFICE_ONLINE", '1', options.officeOnline);
  if (!wrong) wrong = take("ZELTO_OFFICE_365", '3', options.office365);
  if (!wrong) wrong = take("ZELTO_OPEN_COMMAND", 'x', options.openCommand);
  return wrong;
}

}  // namespace

const char* HostOptions::usage() {
  return "zelto-host --folder DIR [--domain NAME] [--my-files on|off] [--offline-files on|off]\n"
         "           [--log FILE] [--user NAME] [--manage-checkouts]\n"
         "           [--office-online URL] [--office-365 URL] [--open-command PROGRAM]\n"
         "Serves the folders in DIR as the shares of one domain.\n"
         "--user: who checks out files here, for all hosts that serve DIR; the login name, unless given\n"
         "--manage-checkouts: this user may check in what others have checked out\n"
         "--office-online, --office-365: where documents are opened; {path} stands for the path on the "
         "server\n"
         "--open-command: what opens such a URL; xdg-open, unless given\n"
         "Where one of these four is not given, ZELTO_USER, ZELTO_OFFICE_ONLINE, ZELTO_OFFICE_365 or\n"
         "ZELTO_OPEN_COMMAND counts.\n";
}

std::expected<HostOptions, std::string> HostOptions::parse(int argc, char** argv) {
  HostOptions options;
  if (auto wrong = takeEnvironment(options)) return std::unexpected(*wrong);
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
