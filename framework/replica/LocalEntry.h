#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "framework/replica/LocalChange.h"
#include "framework/replica/NodeTable.h"

namespace zelto {

// In what one node differs from what the server has; the node table shows how it stands here.
struct LocalEntry {
  // ---- as it is noted in the log
  Inode inode = 0;
  Inode parent = 0;  // where it stands here; of a removed one, stood
  std::string name;
  NodeFields fields;
  std::string symlinkTarget;
  std::string attributes;  // extended ones that a program has set, as ItemBatch writes them
  std::string identifier;  // the server's, where it is moved or removed
  std::string version;     // compact, where the database has none for this node
  // Where the server may have it, and with which bytes: a request was sent, and what became of it is not
  // known.
  std::string attempt;
  SentContent sent;
  std::uint64_t order = 0;  // the oldest change has the lowest
  std::uint64_t metadata = 0;
  // The number of what the database was last to be told of it, 0 for nothing: see LocalEditor::recover.
  std::uint64_t settled = 0;
  bool gone = false;     // neither here nor on the server: only the database may still know it
  bool bound = false;    // the server has it
  bool moved = false;    // elsewhere
  bool removed = false;  // gone here
  bool content = false;  // other bytes
  bool attributesHere = false;
  bool listed = false;   // a folder whose children are known
  bool writing = false;  // noted while a handle that may write is open: size and date are the file's

  // ---- of this run only
  bool inFlight = false;
  unsigned writers = 0;               // handles that may write
  std::uint64_t contentRevision = 0;  // counts changes of the bytes
  std::uint64_t takenRevision = 0;    // the one that the server took last

  // What may have been carried out without our being told is a change until that is known.
  bool pending() const {
    return !gone && (removed || !bound || moved || content || metadata != 0 || !attempt.empty());
  }

  // As bytes of a record; nothing for bytes that are none.
  std::string encoded() const;
  static std::optional<LocalEntry> decoded(std::string_view bytes);
};

}  // namespace zelto
