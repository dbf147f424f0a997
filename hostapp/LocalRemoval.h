#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hostapp/BeneathFolder.h"
#include "hostapp/ServerBackend.h"

namespace zelto {

// Removes a path below a folder of this machine with all its content, from the inside out, also what is not
// served. Symbolic links are removed, never followed.
class LocalRemoval : public BackendWork {
 public:
  LocalRemoval(const BeneathFolder& root, std::string path) : root_(root), path_(std::move(path)) {}

  std::expected<bool, NSError> step() override;
  Amount amount() const override { return {removed_, found_}; }

 private:
  // A folder that is being emptied.
  struct Level {
    std::string path;
    std::vector<std::string> entries;
    std::vector<std::string> folders;
    int attempts = 0;
  };

  std::expected<void, NSError> begin();
  std::expected<void, NSError> enter(const std::string& path, int attempts);
  std::expected<void, NSError> removeEntries(Level& level);
  std::expected<void, NSError> leave();

  const BeneathFolder& root_;
  const std::string path_;
  std::vector<Level> levels_;
  std::uint64_t removed_ = 0;
  std::uint64_t found_ = 1;
};

}  // namespace zelto
