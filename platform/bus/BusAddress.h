#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zelto {

// One place where a session bus may be found.
struct BusCandidate {
  std::string address;  // in D-Bus notation
  std::string origin;   // where the address came from, for error texts
};

// The candidates in the order in which they are tried: DBUS_SESSION_BUS_ADDRESS, the address of the
// private bus that `zelto up` has started, the user's bus in XDG_RUNTIME_DIR.
std::vector<BusCandidate> busCandidates();

// The file in which `zelto up` leaves the address of the bus that it has started.
std::string busAddressFile();

// "unix:path=…" with the path escaped as D-Bus addresses want it.
std::string unixBusAddress(std::string_view path);

}  // namespace zelto
