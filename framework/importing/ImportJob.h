#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "framework/importing/ImportTally.h"
#include "framework/importing/ImportWalk.h"

namespace zelto {

// One import, in a process of its own: by the extension's walk where the server has nothing of the folder
// yet, and entry by entry where it has, or where the walk left something out. It says that it is done only
// when it has seen everything on the server.
class ImportJob {
 public:
  struct Request {
    std::string source;
    ImportPlace place;
    std::string privateFolder;  // on the volume of the group directory; made, used, and removed at the end
    bool singly = false;        // not by the walk
  };
  struct Settings {
    ImportWalk::Settings walk;
    std::chrono::milliseconds patience{60'000};
  };
  enum class End : std::uint8_t {
    done,
    failed,
    startAnew,  // by another process, singly: this one's extension, or its host, is of no use any more
  };

  // `hostPresent`: as for ImportServer.
  ImportJob(NSFileProviderPrincipal& extension, Request request, ImportTally::Told told,
            const std::function<bool()>& hostPresent, const Settings& settings)
      : server_(extension, settings.patience, hostPresent),
        request_(std::move(request)),
        tally_(std::move(told)),
        hostPresent_(hostPresent),
        settings_(settings) {}

  // BLOCKS: until the end, which is told unless it starts anew.
  End run();

 private:
  using Surveyed = std::expected<ImportSurvey, NSError>;

  std::string copy() const { return request_.privateFolder + "/tree"; }
  std::optional<NSError> prepare();
  // The walk, where it may be used. Absent: go on.
  std::optional<End> walk(const ImportSurvey& before);
  Surveyed look();
  // What is missing, and that nothing is afterwards.
  std::optional<NSError> complete();
  std::optional<NSError> differences(const ImportSurvey& survey) const;
  // After a failed request: the end, or not, where a host is to be waited for.
  End giveUp(const NSError& error);
  End goOnWithoutHost();
  End fail(const NSError& error);
  End finish();

  const ImportServer server_;
  const Request request_;
  ImportTally tally_;
  const std::function<bool()> hostPresent_;
  const Settings settings_;
  ImportTree tree_;
};

}  // namespace zelto
