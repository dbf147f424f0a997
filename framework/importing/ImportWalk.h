#pragma once

#include <chrono>
#include <functional>

#include "framework/importing/ImportSurvey.h"
#include "framework/importing/ImportTally.h"

namespace zelto {

// The import of a whole folder by the extension's own walk, under observation. The walk waits for each
// entry's reply and is prone to miss it; then it stands still for ever.
class ImportWalk {
 public:
  enum class End : std::uint8_t {
    answered,  // with or without an error: what is missing is seen on the server
    stuck,     // and with it every later import, and creation of a folder, by this instance of the extension
    hostLost,
  };
  struct Settings {
    // So long without a sign of life, and the server is looked at.
    std::chrono::milliseconds quiet{1'500};
    // An upload in flight may take so long and a second for each of so many bytes.
    std::chrono::milliseconds slowest{60'000};
    std::uint64_t slowestRate = 256 << 10;
    std::chrono::milliseconds look{50};
  };

  // `copy`: the folder that the walk takes apart.
  ImportWalk(const ImportServer& server, const ImportTree& tree, const ImportPlace& place, std::string copy,
             ImportTally& tally, std::function<bool()> hostPresent, const Settings& settings)
      : server_(server),
        tree_(tree),
        place_(place),
        copy_(std::move(copy)),
        tally_(tally),
        hostPresent_(std::move(hostPresent)),
        settings_(settings) {}

  // BLOCKS: until the walk has ended, or will not.
  End run();

 private:
  using Clock = std::chrono::steady_clock;

  // Whether nothing on the server says that the walk goes on. BLOCKS: while the server is looked at.
  bool standsStill();
  // How long the upload that the walk waits for may take; nothing when there is none under way.
  std::optional<std::chrono::milliseconds> allowance(const ImportSurvey& survey) const;

  const ImportServer& server_;
  const ImportTree& tree_;
  const ImportPlace& place_;
  const std::string copy_;
  ImportTally& tally_;
  const std::function<bool()> hostPresent_;
  const Settings settings_;
  std::optional<std::size_t> seen_;  // entries on the server at the last look
  Clock::time_point moved_;          // when something was seen to happen
};

}  // namespace zelto
