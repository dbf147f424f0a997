#include "framework/importing/ImportJob.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

#include "framework/importing/SingleEntries.h"

namespace zelto {
namespace {

namespace fs = std::filesystem;
using Arrival = ImportSurvey::Arrival;

constexpr std::size_t kNamed = 3;
constexpr int kMostRounds = 3;

void removeTree(const std::string& path) {
  std::error_code ignored;
  fs::remove_all(path, ignored);
}

}  // namespace

ImportJob::End ImportJob::run() {
  if (const auto error = prepare()) return fail(*error);
  tally_.expect(tree_);
  const auto before = look();
  if (!before) return giveUp(before.error());
  if (before->root == Arrival::different) return fail(importError(EEXIST, request_.place.name));
  if (const auto end = walk(*before)) return *end;
  if (const auto error = complete()) return giveUp(*error);
  return finish();
}

std::optional<NSError> ImportJob::prepare() {
  struct stat attributes {};
  if (::stat(request_.source.c_str(), &attributes) != 0) return importError(errno, request_.source);
  if (!S_ISDIR(attributes.st_mode)) return importError(ENOTDIR, request_.source);
  auto tree = readTree(request_.source, request_.place.identifier());
  if (!tree) return tree.error();
  tree_ = *std::move(tree);
  std::error_code error;
  fs::create_directories(request_.privateFolder, error);
  if (error) return importError(error.value(), request_.privateFolder);
  return std::nullopt;
}

std::optional<ImportJob::End> ImportJob::walk(const ImportSurvey& before) {
  if (request_.singly || before.root != Arrival::missing) return std::nullopt;
  if (const auto error = copyTree(tree_, request_.source, copy())) return fail(*error);
  tally_.expect(tree_);
  switch (ImportWalk(server_, tree_, request_.place, copy(), tally_, hostPresent_, settings_.walk).run()) {
    case ImportWalk::End::stuck:
      tally_.say("The walk over the folder stands still; the rest is sent entry by entry.");
      return End::startAnew;
    case ImportWalk::End::hostLost:
      return goOnWithoutHost();
    case ImportWalk::End::answered:
      break;
  }
  return std::nullopt;
}

ImportJob::Surveyed ImportJob::look() {
  auto survey = surveyServer(server_, tree_, request_.place);
  if (!survey) return std::unexpected(importError(survey.error(), request_.place.name));
  tally_.found(*survey);
  return survey;
}

// Sends what is missing, and looks again: for what was removed meanwhile, and not for ever.
std::optional<NSError> ImportJob::complete() {
  auto last =
      errorWithPOSIXCode(EAGAIN, request_.place.name + ": entries vanish on the server again and again");
  for (int sent = 0;; ++sent) {
    const auto survey = look();
    if (!survey) return survey.error();
    const auto missing = std::ranges::find(survey->entries, Arrival::missing) != survey->entries.end();
    if (survey->root == Arrival::there && !missing) return differences(*survey);
    if (sent == kMostRounds) return last;
    SingleEntries single(server_, tree_, request_.place, {request_.source, copy(), request_.privateFolder},
                         tally_);
    if (auto error = single.send(*survey)) return error;
    if (single.cameInBetween()) last = *single.cameInBetween();
  }
}

std::optional<NSError> ImportJob::differences(const ImportSurvey& survey) const {
  std::string named;
  std::size_t count = 0;
  for (std::size_t index = 0; index < survey.entries.size(); ++index) {
    if (survey.entries[index] != Arrival::different) continue;
    if (++count <= kNamed) named += (count > 1 ? ", " : "") + tree_.entries[index].path;
  }
  if (count == 0) return std::nullopt;
  return errorWithPOSIXCode(EEXIST, std::to_string(count) +
                                        " of the entries are on the server already with other content, and "
                                        "were left as they are: " +
                                        named + (count > kNamed ? ", …" : ""));
}

// Only where something has been brought over: so it comes to an end also where hosts come and go.
ImportJob::End ImportJob::giveUp(const NSError& error) {
  return server_.hostLost() && server_.created() > 0 ? goOnWithoutHost() : fail(error);
}

ImportJob::End ImportJob::goOnWithoutHost() {
  tally_.say("The connection to the host application was lost; trying to go on.");
  return End::startAnew;
}

ImportJob::End ImportJob::fail(const NSError& error) {
  removeTree(request_.privateFolder);
  tally_.finish(error.localizedDescription());
  return End::failed;
}

ImportJob::End ImportJob::finish() {
  removeTree(request_.privateFolder);
  if (const auto others = tree_.others(); others > 0) {
    tally_.say(std::to_string(others) + (others == 1
                                             ? " symbolic link or special file became an empty file."
                                             : " symbolic links and special files became empty files."));
  }
  tally_.finish("");
  return End::done;
}

}  // namespace zelto
