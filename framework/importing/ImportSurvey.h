#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <vector>

#include "framework/importing/ImportServer.h"
#include "framework/importing/ImportTree.h"

namespace zelto {

// Where a tree goes on the server.
struct ImportPlace {
  std::string destination;  // the identifier of the folder around it
  std::string name;

  std::string identifier() const { return destination + "/" + name; }
};

// What of a tree the server has.
struct ImportSurvey {
  enum class Arrival : std::uint8_t {
    missing,
    there,      // a folder, or a file of the same size
    different,  // something else of that name
  };

  Arrival root = Arrival::missing;
  std::vector<Arrival> entries;  // as in the tree
  std::uint64_t bytes = 0;       // of what is there
  std::size_t count = 0;         // of entries that are there

  bool complete() const { return root == Arrival::there && count == entries.size(); }
};

// Lists every folder of the tree that the server has. BLOCKS: for each. ERRORS: the extension's.
std::expected<ImportSurvey, NSError> surveyServer(const ImportServer& server, const ImportTree& tree,
                                                  const ImportPlace& place);

}  // namespace zelto
