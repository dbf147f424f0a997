#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

#include "framework/importing/ImportSurvey.h"
#include "framework/importing/ImportTally.h"

namespace zelto {

// Brings over what the server lacks of a tree, each entry by a request of its own: first the folders, then
// the files, several at a time.
class SingleEntries {
 public:
  struct Folders {
    std::string source;
    std::string copy;      // has some of the files, perhaps; they are used up
    std::string handOver;  // where other files are copied to, for the extension to take
  };

  SingleEntries(const ImportServer& server, const ImportTree& tree, const ImportPlace& place, Folders folders,
                ImportTally& tally)
      : server_(server), tree_(tree), place_(place), folders_(std::move(folders)), tally_(tally) {}

  // BLOCKS: until all that is missing has been taken, or an entry has failed; those under way are waited for.
  // ERRORS: the first entry's that failed; the message names it. What came to be on the server in between, by
  // an earlier request or by somebody else, is no failure: the next look tells what it is.
  std::optional<NSError> send(const ImportSurvey& survey);
  // The first of those.
  const std::optional<NSError>& cameInBetween() const { return cameInBetween_; }

 private:
  std::optional<NSError> sendFolders(const ImportSurvey& survey);
  std::optional<NSError> sendFile(const ImportEntry& entry, std::size_t index);
  // Where the bytes are to be taken from.
  std::expected<std::string, NSError> handedOver(const ImportEntry& entry, std::size_t index) const;
  void work(const ImportSurvey& survey);
  // False when there is no use in going on.
  bool goesOnAfter(const NSError& error);
  std::string parentOf(const ImportEntry& entry) const;

  const ImportServer& server_;
  const ImportTree& tree_;
  const ImportPlace& place_;
  const Folders folders_;
  ImportTally& tally_;

  std::atomic<std::size_t> next_ = 0;
  std::mutex mutex_;
  std::optional<NSError> error_, cameInBetween_;
};

}  // namespace zelto
