#pragma once

#include <string>
#include <string_view>

namespace zelto {

// The names under which the framework's manager of one domain stands on the session bus. The command
// line, the file browsers' extensions and the host application use nothing else of the framework.
//
// Methods (signatures as in SessionBus.h; "identifier" is an item identifier, "path" an absolute path of
// this machine on or below the mount point):
//   ServiceEndpoint(s identifier, s service) -> h   the endpoint of a service that the extension offers
//   SignalEnumerator(s identifier)                  the container has changes; the host sends the first one
//                                                   as soon as it is connected and configured
//   Status() -> s                                   JSON: domain, mountPoint, pid, hostConnected (bool;
//                                                   its changes are in then),
//                                                   items, folders, materialisedFiles, materialisedBytes,
//                                                   requestsInFlight
//   Item(ay path) -> s                              JSON of what the replica knows of the item: identifier,
//                                                   name, type (file|folder|symlink), size, modified (seconds
//                                                   since 1970), capabilities, fileSystemFlags, inode,
//                                                   listed, materialised (none|partial|full),
//                                                   materialisedBytes, ranges ([[location,length],…]); asks
//                                                   the host for nothing
//   List(ay path) -> s                              JSON array of such items: the folder's children
//   Fetch(ay path) -> t                             starts to materialise a file; a ticket for FetchProgress
//   Evict(ay path) -> t                             drops local content (a folder: all below); bytes freed
//   Shutdown()                                      unmounts and ends the process
// Signals:
//   FetchProgress(t ticket, t completed, t total, b finished, s error)   bytes; error "" when none
//   StateChanged(s what)                            host connected or lost ("host"), settings, changes
//   ("changes")
namespace manager {

inline constexpr std::string_view kInterface = "it.pellam.Zelto.FileProvider1";
// The well-known name and the object path of a domain's manager.
inline std::string busName(std::string_view domain) {
  return "it.pellam.Zelto.FileProvider." + std::string(domain);
}
inline std::string objectPath(std::string_view domain) {
  return "/it/pellam/Zelto/FileProvider/" + std::string(domain);
}

}  // namespace manager

// The reference host application's own small control interface.
//   Status() -> s        JSON: domain, pid, folder, connected (bool), useMyFiles, useOfflineFiles, log
//   (path),
//                        calls ({operation: count} since the start), bytesSent (content bytes handed over)
//   SetMode(b useMyFiles, b useOfflineFiles)
//   AddBookmark(s identifier), RemoveBookmark(s identifier), MakeOffline(s identifier), RemoveOffline(s
//   identifier) Shutdown()
namespace hostcontrol {

inline constexpr std::string_view kInterface = "it.pellam.Zelto.Host1";
inline std::string busName(std::string_view domain) { return "it.pellam.Zelto.Host." + std::string(domain); }
inline std::string objectPath(std::string_view domain) {
  return "/it/pellam/Zelto/Host/" + std::string(domain);
}

}  // namespace hostcontrol

}  // namespace zelto
