#include "transfer/FileProviderThumbnail.h"

#include <utility>

#include <fmt/format.h>

#include "host/ZeltoFileProviderClient.h"
#include "support/FileProviderLogger.h"
#include "transfer/DispatchGroup.h"

namespace zelto {

namespace {

// No picture, and a cancelled request: ENODATA and ECANCELED as the extension's own platform numbers them.
// Compared without the domain.
constexpr std::int64_t kNoData = 96;
constexpr std::int64_t kCancelled = 89;

void logAnswer(const std::string& identifier, const std::string& requestId,
               const std::optional<NSError>& error) {
  auto& logger = FileProviderLogger::instance();
  if (!error) return logger.logInfo(fmt::format("FP[Thumb-{}] Loaded {}", requestId, identifier));
  if (error->code() == kNoData || error->code() == kCancelled) return;
  logger.logWarn(fmt::format("FP[Thumb-{}] Failed to load thumbnail for {}. Reason: {}", requestId,
                             identifier, description(*error)));
}

// What the items of one request share.
struct Request {
  const std::vector<std::string> identifiers;
  const std::shared_ptr<NSProgress> progress = NSProgress::create(std::ssize(identifiers));
  const NSFileProviderThumbnailHandler perThumbnailCompletionHandler;
};

// An item leaves before its handler is called, which may take its time.
void answer(Request& request, DispatchGroup& group, const std::string& requestId,
            const std::string& identifier, const std::optional<NSData>& data) {
  request.progress->addCompletedUnitCount(1);
  group.leaveWithLogId(requestId);
  request.perThumbnailCompletionHandler(identifier, data, std::nullopt);
}

void fetch(const std::shared_ptr<Request>& request, Completion<std::optional<NSError>> completionHandler) {
  const auto group = std::make_shared<DispatchGroup>();
  const auto& identifiers = request->identifiers;
  for (std::size_t i = 0; i < identifiers.size(); ++i) {
    const auto requestId = fmt::format("#{} ({}/{})", group->identifier(), i + 1, identifiers.size());
    group->enterWithLogId(requestId);
    FileProviderThumbnail::manager().thumbnailForIdentifier(
        identifiers[i], requestId,
        [request, group, requestId](const std::string& identifier, const std::optional<NSData>& data,
                                    const std::optional<NSError>&) {
          answer(*request, *group, requestId, identifier, data);
        });
  }
  group->notifyOnMainThreadCallingBlock(
      [completion = std::move(completionHandler)]() mutable { completion(std::nullopt); });
}

}  // namespace

FileProviderThumbnail& FileProviderThumbnail::manager() {
  static auto* const thumbnail = new FileProviderThumbnail();
  return *thumbnail;
}

std::shared_ptr<NSProgress> FileProviderThumbnail::fetchThumbnailsForItemIdentifiers(
    std::vector<std::string> itemIdentifiers, CGSize,
    NSFileProviderThumbnailHandler perThumbnailCompletionHandler,
    Completion<std::optional<NSError>> completionHandler) {
  const std::shared_ptr<Request> request(
      new Request{.identifiers = std::move(itemIdentifiers),
                  .perThumbnailCompletionHandler = std::move(perThumbnailCompletionHandler)});
  queue_.async([request, completion = std::move(completionHandler)]() mutable {
    fetch(request, std::move(completion));
  });
  return request->progress;
}

void FileProviderThumbnail::thumbnailForIdentifier(
    const std::string& identifier, const std::string& requestId,
    Completion<const std::string&, std::optional<NSData>, std::optional<NSError>> completion) {
  ZeltoFileProviderClient::instance().thumbnailForPath(
      identifier, [identifier, requestId, completion = std::move(completion)](
                      std::optional<NSData> data, std::optional<NSError> error) mutable {
        logAnswer(identifier, requestId, error);
        completion(identifier, std::move(data), std::move(error));
      });
}

}  // namespace zelto
