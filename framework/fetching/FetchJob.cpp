#include "framework/fetching/FetchJob.h"

#include <algorithm>

namespace zelto {

void FetchJob::start(Materialiser& materialiser, std::shared_ptr<ContentFile> content, Progress progress) {
  std::shared_ptr<FetchJob>(new FetchJob(materialiser, std::move(content), std::move(progress)))->step();
}

void FetchJob::step() {
  const auto missing = content_->missing({0, content_->size()});
  if (missing.empty()) return progress_(content_->size(), content_->size(), true, 0);
  const NSRange window{missing.front().location,
                       std::min(missing.front().length, FileFetch::kLongestTransfer)};
  materialiser_.ensure(
      content_, window, FileFetch::kLongestTransfer,
      std::make_shared<FunctionWaiter>([self = shared_from_this()](int error) { self->windowDone(error); }));
}

void FetchJob::windowDone(int error) {
  if (error != 0) return progress_(content_->materialisedBytes(), content_->size(), true, error);
  if (!content_->complete()) progress_(content_->materialisedBytes(), content_->size(), false, 0);
  step();
}

}  // namespace zelto
