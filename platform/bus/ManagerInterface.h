#pragma once

#include <algorithm>
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
//                                                   requestsInFlight, pending, uploading, failed, conflicts
//                                                   (local changes, as in PendingChanged; conflicts: how
//                                                   often since the start both versions had to be kept, or a
//                                                   removal was given up)
//   Item(ay path) -> s                              JSON of what the replica knows of the item: identifier,
//                                                   name, type (file|folder|symlink), size, modified (seconds
//                                                   since 1970), capabilities, fileSystemFlags, inode,
//                                                   listed, materialised (none|partial|full),
//                                                   materialisedBytes, ranges ([[location,length],…]); asks
//                                                   the host for nothing
//   List(ay path) -> s                              JSON array of such items: the folder's children
//   Fetch(ay path) -> t                             starts to materialise a file; a ticket for FetchProgress
//   Evict(ay path) -> t                             drops local content (a folder: all below); bytes freed
//   Pending() -> s                                  JSON array of the local changes that the server has not
//                                                   taken, oldest first (the first 10000): path (absolute),
//                                                   kind (create|upload|move|remove|metadata), state
//                                                   (pending|uploading|waiting|failed|local), reason ("" for
//                                                   none), completed and total (bytes), attempts (that
//                                                   failed), since (seconds since 1970). waiting: the change
//                                                   of another item comes first, or a program still writes to
//                                                   it; local: a temporary file, never sent
//   Wait() -> s                                     answered once no local change is left that could be sent
//                                                   now or soon, which may take for ever without a host;
//                                                   sends everything without the usual pause. JSON array of
//                                                   those that failed, as in Pending
//   Retry(ay path)                                  tries a failed change again now; an empty path: all.
//                                                   ENOENT when there is no local change there
//   Cancel(ay path)                                 gives a local change up: what was created here goes,
//                                                   anything else is again as the server has it. ENOENT
//                                                   likewise
//   Import(ay source, ay destination) -> t          brings a folder of this machine with all that is in it
//                                                   into a folder below the mount point, as one of the same
//                                                   name; what is there already is not sent again. A ticket
//                                                   for ImportProgress. EBUSY while there is another import
//   CancelImport(t ticket)                          ends an import; what was brought over stays
//   AllActions() -> s                               JSON array of the actions that the extension has, in the
//                                                   order for a menu: identifier, title
//   Actions(aay paths) -> s                         those of them that may be chosen for these items
//   together;
//                                                   [] when one of the items is not known here
//   Perform(s action, aay paths)                    carries an action out on the items; answered when that is
//                                                   done. ENOENT: no such action, or an item that is not
//                                                   known here; EPERM: not offered for these items;
//                                                   EHOSTDOWN: no host application is connected
//   Decorations() -> s                              JSON array of the badges there are: identifier, image
//                                                   (path of a picture), label, category
//   ItemStates(aay paths) -> s                      JSON array, an entry for each path in this order: path
//                                                   (percent-encoded, as in a file URI), known (bool),
//                                                   identifier, decorations ([identifier,…]), actions
//                                                   ([identifier,…], of this item alone; several items
//                                                   together are offered what each of them is), state
//                                                   (current|pending|uploading|failed|local), reason
//                                                   ("" for none), materialised (none|partial|full); asks the
//                                                   host for nothing
//   FolderStates(ay path) -> s                      the same of all children of a folder that are known here,
//                                                   in one call
//   Thumbnails(aay paths)                           has pictures of these files put into the user's thumbnail
//                                                   cache, unless they are there; answered when it is done,
//                                                   also for those of which there is none. What is asked for
//                                                   last is made first; what a caller asked for that leaves
//                                                   the bus is not asked of the host any more
//   Shutdown()                                      unmounts and ends the process
// Signals:
//   ItemsChanged(aay folders)                       what ItemStates tells of children of these folders may be
//                                                   another; at most ten times a second
//   PendingChanged(t pending, t uploading, t failed)   counts of local changes, each in one of the three
//                                                   or, if it stays local, in none; uploading: being sent. At
//                                                   most four times a second
//   UploadProgress(s path, t completed, t total)    bytes of one upload, likewise
//   Conflict(s path, s message)                     somebody else had changed the same item; both versions
//                                                   are kept, or a removal was given up
//   FetchProgress(t ticket, t completed, t total, b finished, s error)   bytes; error "" when none
//   ImportProgress(t ticket, t completed, t total, t entries, t allEntries, b finished, s message, s error)
//                                                   bytes and entries that the server has, of those there
//                                                   are; message: a line for people, "" for none; error
//                                                   likewise. Finished without an error: the server has
//                                                   everything
//   StateChanged(s what)                            host connected or lost ("host"), settings, changes
//   ("changes")
namespace manager {

inline constexpr std::string_view kInterface = "it.pellam.Zelto.FileProvider1";
// The well-known name and the object path of a domain's manager.
inline std::string busName(std::string_view domain) {
  return "it.pellam.Zelto.FileProvider." + std::string(domain);
}
inline std::string objectPath(std::string_view domain) {
  std::string path = "/it/pellam/Zelto/FileProvider/" + std::string(domain);
  std::ranges::replace(path, '.', '/');
  return path;
}
// In the place of the domain: a process that imports for it, beside the one that serves it, while it does.
// Its object has ServiceEndpoint and SignalEnumerator alone.
inline std::string importerOf(std::string_view domain) { return std::string(domain) + ".Import"; }

}  // namespace manager

// The reference host application's own small control interface.
//   Status() -> s        JSON: domain, pid, folder, connected (bool), useMyFiles, useOfflineFiles, log
//   (path),
//                        calls ({operation: count} since the start), bytesSent (content bytes handed over),
//                        thumbnailsNow, mostThumbnailsAtOnce (being made, and how many ever were)
//   SetMode(b useMyFiles, b useOfflineFiles)
//   AddBookmark(s identifier), RemoveBookmark(s identifier), MakeOffline(s identifier), RemoveOffline(s
//   identifier)
//   CheckOut(s identifier), CheckIn(s identifier)
//   CheckoutStatus(s identifier) -> s   JSON: user, since (seconds since 1970), own (bool), label; empty for
//   a
//                        file that is not checked out
//   CustomFields(s identifier) -> s     JSON: the fields' values by name
//   SetCustomField(s identifier, s name, s value)   an empty value removes the field
//   LastNotice() -> s    JSON: title, text, shown (seconds since 1970) of what was last shown to the user;
//                        empty when nothing was
//   Shutdown()
namespace hostcontrol {

inline constexpr std::string_view kInterface = "it.pellam.Zelto.Host1";
inline std::string busName(std::string_view domain) { return "it.pellam.Zelto.Host." + std::string(domain); }
inline std::string objectPath(std::string_view domain) {
  return "/it/pellam/Zelto/Host/" + std::string(domain);
}

}  // namespace hostcontrol

}  // namespace zelto
