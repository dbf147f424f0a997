#pragma once

#include <functional>
#include <memory>

#include "framework/fetching/Materialiser.h"

namespace zelto {

// Brings one whole file here, window by window, and tells how far it is.
// THREAD: any; at most one call of `progress` at a time.
class FetchJob : public std::enable_shared_from_this<FetchJob> {
 public:
  // Bytes here, bytes in all, an errno value; `finished` is told once, with or without an error.
  using Progress =
      std::move_only_function<void(std::uint64_t completed, std::uint64_t total, bool finished, int error)>;

  static void start(Materialiser& materialiser, std::shared_ptr<ContentFile> content, Progress progress);

 private:
  FetchJob(Materialiser& materialiser, std::shared_ptr<ContentFile> content, Progress progress)
      : materialiser_(materialiser), content_(std::move(content)), progress_(std::move(progress)) {}

  void step();
  void windowDone(int error);

  Materialiser& materialiser_;
  std::shared_ptr<ContentFile> content_;
  Progress progress_;
};

}  // namespace zelto
