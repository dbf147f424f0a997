#include "hostapp/DesktopNotices.h"

namespace zelto {

namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr std::uint64_t kTimeout = 10'000'000;
constexpr std::int32_t kUsualTime = -1;

// The text of a notification is markup.
std::string escaped(const std::string& text) {
  std::string markup;
  for (const char c : text) {
    switch (c) {
      case '&':
        markup += "&amp;";
        break;
      case '<':
        markup += "&lt;";
        break;
      case '>':
        markup += "&gt;";
        break;
      default:
        markup += c;
    }
  }
  return markup;
}

}  // namespace

Notices::Send desktopNotices(std::weak_ptr<SessionBus> bus) {
  return [weak = std::move(bus)](const Notice& notice) {
    const auto connected = weak.lock();
    if (!connected) return;
    BusArguments arguments{std::string("Zelto"),
                           std::uint32_t{0},
                           std::string("folder-remote"),
                           notice.title,
                           escaped(notice.text),
                           std::vector<std::string>(),
                           BusOptions(),
                           kUsualTime};
    connected->call({kService, kPath, kService}, "Notify", "susssasa{sv}i", std::move(arguments), kTimeout,
                    [](const std::expected<BusArguments, NSError>&) {});
  };
}

}  // namespace zelto
