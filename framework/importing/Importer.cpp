#include "framework/importing/Importer.h"

#include <cerrno>
#include <filesystem>
#include <utility>

#include "framework/importing/ImportRun.h"

namespace zelto {

Importer::Importer(std::string domain, std::string folder)
    : domain_(std::move(domain)), folder_(std::move(folder)) {
  std::error_code ignored;
  if (!std::filesystem::exists(folder_, ignored)) return;
  run_ = std::make_unique<Run>(0, std::vector<std::string>(), folder_, nullptr);
}

Importer::~Importer() = default;

std::optional<NSError> Importer::start(std::uint64_t ticket, const std::string& source,
                                       const std::string& destination, Told told) {
  std::unique_ptr<Run> last;  // ended, and taken leave of without the lock
  const std::lock_guard lock(mutex_);
  if (run_ && !run_->ended()) {
    return errorWithPOSIXCode(EBUSY, run_->ticket() == 0 ? "what an import has left behind is being removed"
                                                         : "another import is under way");
  }
  last = std::move(run_);
  run_ = std::make_unique<Run>(ticket,
                               std::vector<std::string>{"zelto-fileprovider", "--domain", domain_, "--import",
                                                        source, "--into", destination},
                               folder_, std::move(told));
  return std::nullopt;
}

void Importer::cancel(std::uint64_t ticket) {
  const std::lock_guard lock(mutex_);
  if (run_ && run_->ticket() == ticket) run_->stop();
}

}  // namespace zelto
