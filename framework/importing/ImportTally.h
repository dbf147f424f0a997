#pragma once

#include <chrono>
#include <functional>
#include <mutex>

#include "framework/importing/ImportReport.h"
#include "framework/importing/ImportSurvey.h"

namespace zelto {

// What has arrived so far, told a few times a second. THREAD: any; reports are told one after the other.
class ImportTally {
 public:
  using Told = std::function<void(const ImportReport&)>;

  explicit ImportTally(Told told) : told_(std::move(told)) {}

  // What there is to bring over.
  void expect(const ImportTree& tree);
  // What the server is known to have.
  void found(const ImportSurvey& survey);
  // So many bytes of an entry that has not arrived yet.
  void arriving(std::uint64_t bytes);
  // An entry more, and what was not told of it before.
  void arrived(std::uint64_t bytes);
  // So much by somebody else's count; less than what is known already says nothing.
  void counted(std::uint64_t bytes, std::uint64_t entries);
  void say(std::string message);
  void finish(const std::string& error);

 private:
  void tell(bool always);

  const Told told_;
  std::mutex mutex_;
  ImportReport report_;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace zelto
