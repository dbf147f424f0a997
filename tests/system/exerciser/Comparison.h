#pragma once

#include <filesystem>
#include <string>

namespace zelto::test {

// The first thing in which a tree in the mount differs from what the same work has made on a disk: names,
// types, contents, modes, extended attributes, link targets and those dates that were set; "" for nothing.
// `mayBeUnreachable`: what cannot be read for want of a host is passed over.
std::string mountDifference(const std::filesystem::path& disk, const std::filesystem::path& mount,
                            bool mayBeUnreachable);

// The same for the server's folder, which has links as empty files, and need not have what only lies there
// for a program of this machine.
std::string serverDifference(const std::filesystem::path& disk, const std::filesystem::path& server);

// Whether an errno value says that there is no host to ask.
bool isForWantOfAHost(int code);

}  // namespace zelto::test
