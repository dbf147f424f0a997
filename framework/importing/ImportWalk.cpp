#include "framework/importing/ImportWalk.h"

#include <atomic>

#include <unistd.h>

namespace zelto {
namespace {

// What the walk's own progress tells: a step for each file that has arrived. Its total is of no use, it is
// the size of one file.
struct Steps {
  std::atomic<std::uint64_t> bytes = 0;
  std::atomic<std::uint64_t> files = 0;
};

void follow(NSProgress& progress, const std::shared_ptr<Steps>& steps) {
  progress.setChangeHandler([steps](const NSProgress& now) {
    steps->bytes = static_cast<std::uint64_t>(now.completedUnitCount());
    ++steps->files;
  });
}

}  // namespace

ImportWalk::End ImportWalk::run() {
  ImportServer::CreationAnswer answer;
  using State = ImportServer::CreationAnswer::State;
  const auto progress = server_.createTree(place_.destination, place_.name, copy_, answer);
  const auto steps = std::make_shared<Steps>();
  follow(*progress, steps);
  std::uint64_t files = 0;
  moved_ = Clock::now();
  for (auto quietSince = moved_;;) {
    const State state = answer.wait(settings_.look);
    if (state == State::answered) return End::answered;
    if (state == State::dropped || !hostPresent_()) return End::hostLost;
    if (const auto now = steps->files.load(); now != files) {
      files = now;
      moved_ = quietSince = Clock::now();
      tally_.counted(steps->bytes, files);
    }
    if (Clock::now() - quietSince < settings_.quiet) continue;
    if (standsStill()) return End::stuck;
    quietSince = Clock::now();
  }
}

bool ImportWalk::standsStill() {
  const auto survey = surveyServer(server_, tree_, place_);
  // A server that does not answer says nothing about the walk, but is not waited for without end.
  if (!survey) return Clock::now() - moved_ > settings_.slowest;
  tally_.found(*survey);
  if (!seen_ || *seen_ != survey->count) {
    seen_ = survey->count;
    moved_ = Clock::now();
    return false;
  }
  const auto allowed = allowance(*survey);
  return !allowed || Clock::now() - moved_ > *allowed;
}

// The file that the walk has taken from the copy and that the server does not have yet: there is at most one.
std::optional<std::chrono::milliseconds> ImportWalk::allowance(const ImportSurvey& survey) const {
  for (std::size_t index = 0; index < tree_.entries.size(); ++index) {
    const ImportEntry& entry = tree_.entries[index];
    if (entry.kind != ImportEntry::Kind::file) continue;
    if (survey.entries[index] == ImportSurvey::Arrival::there) continue;
    if (::access((copy_ + "/" + entry.path).c_str(), F_OK) == 0) continue;
    return settings_.slowest + std::chrono::seconds(entry.size / settings_.slowestRate);
  }
  return std::nullopt;
}

}  // namespace zelto
