#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "framework/importing/ImportReport.h"
#include "platform/foundation/NSError.h"

namespace zelto {

// Has folders brought to the server by a process of their own, one at a time, and hears how far it is.
// THREAD: any.
class Importer {
 public:
  // Runs on a thread of the import. The last report is finished, whatever becomes of the process.
  using Told = std::function<void(const ImportReport&)>;

  // `folder`: what imports use; what a killed process left there is removed.
  Importer(std::string domain, std::string folder);
  // Ends what runs. BLOCKS: until it is gone.
  ~Importer();
  Importer(const Importer&) = delete;
  Importer& operator=(const Importer&) = delete;

  // `ticket`: a name for it; `destination`: the identifier of a folder on the server.
  // ERRORS: EBUSY while another one runs, or something that was left behind is being removed.
  std::optional<NSError> start(std::uint64_t ticket, const std::string& source,
                               const std::string& destination, Told told);
  // Ends an import. Without effect on one that has ended.
  void cancel(std::uint64_t ticket);

 private:
  class Run;

  const std::string domain_;
  const std::string folder_;
  std::mutex mutex_;
  std::unique_ptr<Run> run_;
};

}  // namespace zelto
