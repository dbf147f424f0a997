#include "platform/bus/BusAddress.h"

#include <cctype>
#include <cstdlib>
#include <optional>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

namespace {

std::optional<std::string> environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

// The first line of a small file that belongs to this user; an address from anybody else would hand our
// traffic to them.
std::optional<std::string> ownLine(const std::string& path) {
  const UniqueDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) return std::nullopt;
  char text[4096];
  const ssize_t size = ::read(file.get(), text, sizeof text);
  if (size <= 0) return std::nullopt;
  const std::string_view all(text, static_cast<std::size_t>(size));
  return std::string(all.substr(0, all.find('\n')));
}

}  // namespace

std::vector<BusCandidate> busCandidates() {
  std::vector<BusCandidate> candidates;
  if (auto address = environment("DBUS_SESSION_BUS_ADDRESS")) {
    candidates.push_back({std::move(*address), "DBUS_SESSION_BUS_ADDRESS"});
  }
  if (auto address = ownLine(busAddressFile()); address && !address->empty()) {
    candidates.push_back({std::move(*address), busAddressFile()});
  }
  if (const auto runtime = environment("XDG_RUNTIME_DIR")) {
    const std::string path = stringByAppendingPathComponent(*runtime, "bus");
    if (::access(path.c_str(), F_OK) == 0) candidates.push_back({unixBusAddress(path), path});
  }
  return candidates;
}

std::string busAddressFile() { return stringByAppendingPathComponent(runtimeDirectory(), "bus-address"); }

std::string unixBusAddress(std::string_view path) {
  std::string address = "unix:path=";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = byte < 0x80 && (std::isalnum(byte) != 0 || std::string_view("-_/.").contains(c));
    address += plain ? std::string(1, c) : fmt::format("%{:02x}", byte);
  }
  return address;
}

}  // namespace zelto
