#include "hostapp/BackendErrors.h"
#include "hostapp/HostService.h"
#include "hostapp/RangeReader.h"

namespace zelto {

void HostService::thumbnailForPath(const std::string& path, ThumbnailReply completion) {
  parts_->counters->count("thumbnail");
  const auto item = parts_->resolver->resolve(path);
  if (!item) return completion(std::nullopt, noSuchItemError(path));
  parts_->counters->thumbnailBegun();
  parts_->thumbnails->start(
      item->path, abandoned_,
      [counters = parts_->counters, reply = std::move(completion)](auto... answer) mutable {
        counters->thumbnailEnded();
        reply(std::move(answer)...);
      });
}

std::shared_ptr<NSProgress> HostService::downloadItemWithPath(const std::string& path,
                                                              DownloadReply completion) {
  parts_->counters->count("downloadItem");
  auto progress = NSProgress::create();
  const auto item = parts_->resolver->resolve(path);
  if (!item) {
    completion(std::nullopt, std::nullopt, noSuchItemError(path));
    return progress;
  }
  auto describe = [resolver = parts_->resolver, path, served = item->path](const BackendEntry& entry) {
    return resolver->dictionaryOf(path, served, entry);
  };
  auto deliver = [delivered = delivered_, reply = std::move(completion)](auto url, auto dictionary,
                                                                         auto error) mutable {
    if (url) delivered->add(url->path());
    reply(std::move(url), std::move(dictionary), std::move(error));
  };
  parts_->downloads->start({item->path, progress, abandoned_, std::move(describe)}, std::move(deliver));
  return progress;
}

std::shared_ptr<NSProgress> HostService::downloadItemWithPath(const std::string& path, NSRange requestedRange,
                                                              std::int64_t alignment, RangeReply completion) {
  parts_->counters->count("downloadItemRange");
  auto progress = NSProgress::create(1);
  parts_->pool->run(
      [parts = parts_, path, requestedRange, alignment, progress, reply = std::move(completion)]() mutable {
        const auto fail = [&reply, requestedRange](const NSError& error) {
          reply(std::nullopt, std::nullopt, NSRange{requestedRange.location, 0}, error);
        };
        if (progress->isCancelled())
          return fail(cocoaError(kUserCancelledError, "The download was cancelled."));
        const auto item = parts->resolver->resolve(path);
        if (!item) return fail(noSuchItemError(path));
        auto content = readRange(*parts->backend, item->path, requestedRange, alignment);
        if (!content) return fail(content.error());
        parts->counters->addBytes(content->range.length);
        progress->setCompletedUnitCount(1);
        parts->told->told(item->path, content->entry.stat);
        auto dictionary = parts->resolver->dictionaryOf(path, item->path, content->entry);
        reply(std::move(content->data), std::move(dictionary), content->range, std::nullopt);
      });
  return progress;
}

}  // namespace zelto
