#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostapp/BeneathFolder.h"
#include "hostapp/HiddenPlaces.h"
#include "hostapp/LocalPlace.h"
#include "hostapp/LocalRemoval.h"
#include "hostapp/TemporaryName.h"

namespace zelto {

// Moves an item to another volume of the same server: copies it under a temporary name, gives the copy its
// name in one rename, then removes the original. A file that changes while it is copied ends the move.
class LocalTreeCopy : public BackendWork {
 public:
  static std::expected<std::unique_ptr<BackendWork>, NSError> begin(const BeneathFolder& root,
                                                                    const LocalPlace& from, LocalPlace to,
                                                                    HiddenPlaces& hidden);
  ~LocalTreeCopy() override;

  std::expected<bool, NSError> step() override;
  bool canBeCancelled() const override { return !shown_; }
  Amount amount() const override { return {done_, found_}; }
  std::optional<BackendEntry> result() const override { return result_; }

 private:
  // A folder that is being copied; its path below the item.
  struct Level {
    std::string path;
    std::vector<std::string> entries;
    std::vector<std::string> folders;
  };
  struct File {
    std::string path;
    UniqueDescriptor from;
    UniqueDescriptor to;
    std::uint64_t copied = 0;
    BackendEntry before;
  };

  LocalTreeCopy(const BeneathFolder& root, std::string from, LocalPlace to)
      : root_(root), from_(std::move(from)), to_(std::move(to)), removal_(root, from_) {}
  std::string source(const std::string& path) const;
  std::string target(const std::string& path) const;
  bool isReadyToShow() const { return levels_.empty() && !file_; }
  int start(const LocalPlace& from, HiddenPlaces& hidden);
  int copyStep();
  int enter(const std::string& path);
  int copyEntry(const std::string& path);
  int copyFilePiece();
  int leave();
  int show();

  const BeneathFolder& root_;
  const std::string from_;
  const LocalPlace to_;
  std::optional<TemporaryEntry> temporary_;
  std::vector<Level> levels_;
  std::optional<File> file_;
  LocalRemoval removal_;
  std::string failedAt_;
  bool shown_ = false;
  std::uint64_t done_ = 0;
  std::uint64_t found_ = 1;
  std::optional<BackendEntry> result_;
};

}  // namespace zelto
