#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "framework/replica/Node.h"
#include "platform/fileprovider/NSFileProviderTypes.h"

namespace zelto {

// What a program wants to be made.
struct NewNode {
  NodeKind kind = NodeKind::file;
  std::uint16_t permissions = 0;  // the nine bits rwxrwxrwx
  std::string symlinkTarget;
};

// What a program sets of a node; absent stays as it is.
struct LocalAttributes {
  std::optional<std::uint16_t> permissions;  // the nine bits
  std::optional<std::int64_t> modifiedNs;
  std::optional<std::int64_t> accessedNs;
};

// A content as it was handed to the extension.
struct SentContent {
  std::uint64_t size = 0;
  std::int64_t modifiedNs = 0;
  bool dated =
      false;  // the server was told the date; what is created has a date of its own there, a later one
  std::uint32_t digest = 0;  // of a creation's bytes, by which it is known; 0 of long ones
};

// When, and as what, the server was asked for something.
struct Asked {
  std::uint64_t settled = 0;    // `Replica::settledSoFar` by then
  std::string identifier = {};  // of the folder that was to be listed; "" where it does not matter
};

// One thing to ask the extension for, as the replica stands. An item may need several, one after the other.
struct LocalStep {
  enum class Kind : std::uint8_t { create, upload, move, remove, metadata };

  Kind kind = Kind::create;
  NodeInfo node;                 // as it is here; of a removal, as it was
  std::string identifier;        // the server's; empty for a creation
  std::string parentIdentifier;  // where it is to stand (create, move), else where it stands
  std::string name;              // the same
  std::string symlinkTarget;
  NSFileProviderItemVersion version;  // what the server had at the last sync; empty for a creation
  NSFileProviderItemFields metadata =
      NSFileProviderItemFields::none;  // which fields a metadata step is about
  std::uint32_t contentDigest = 0;     // set by `exportContent` for a creation that is not long
  std::uint64_t contentRevision = 0;   // set by `exportContent`; 0 for bytes older than those that are here
  bool throughTemporaryName = false;   // a move that makes room in a circle of moves
  // What was sent of it before without an answer: the server may have it.
  std::optional<SentContent> sentBefore;
  // It was sent before without an answer, and has another place here by now: what became of it comes first.
  bool repeated = false;
  // A removal of what was sent without an answer: the server has it if it has what was sent.
  bool uncertain = false;

  // Where it is to stand on the server.
  std::string destination() const { return parentIdentifier + "/" + name; }
};

// Why there is nothing to ask for at the moment.
struct LocalWait {
  enum class Why : std::uint8_t {
    nothing,     // no local change (any more), or its step is being taken
    another,     // the change of `another` comes first
    writing,     // a program has the file open for writing; the handler is called when it closes it
    staysLocal,  // a lock or temporary file of a program: it is never sent
  };
  Why why = Why::nothing;
  Inode another = 0;
};

// A local change, for people.
struct LocalChangeInfo {
  Inode inode = 0;
  NodeKind kind = NodeKind::file;
  bool created = false;   // the server does not have it
  bool removed = false;   // gone here
  bool moved = false;     // the server has it elsewhere
  bool content = false;   // other bytes than the server's
  bool metadata = false;  // only dates, flags or attributes
  bool inFlight = false;  // a step of it is being taken
  bool staysLocal = false;
  std::string path;        // relative to the mount's root; of a removal, where it stood
  std::string identifier;  // the server's, or the one that it is to get
  std::uint64_t size = 0;  // bytes
};

}  // namespace zelto
