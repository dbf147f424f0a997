#include "framework/importing/ImportServer.h"

#include <cerrno>

#include "framework/importing/ImportItem.h"
#include "framework/propagation/FreshListing.h"

namespace zelto {
namespace {

using Fields = NSFileProviderItemFields;
using Clock = std::chrono::steady_clock;

constexpr Fields kCreationFields = Fields::contents | Fields::filename | Fields::parentItemIdentifier |
                                   Fields::creationDate | Fields::contentModificationDate |
                                   Fields::fileSystemFlags | Fields::typeAndCreator;
constexpr std::chrono::milliseconds kLook{250};

NSError noAnswer() { return errorWithPOSIXCode(ETIMEDOUT, "the host application does not answer"); }

}  // namespace

NSError ImportServer::noHost() const {
  hostLost_ = true;
  return errorWithPOSIXCode(EHOSTDOWN, "the host application is not connected any more");
}

bool isFolderItem(const NSFileProviderItem& item) {
  const auto& type = item.contentType();
  return type && (type->conformsTo(UTType::folder()) || type->conformsTo(UTType::directory()));
}

std::expected<std::vector<NSFileProviderItemPtr>, NSError> ImportServer::list(
    const std::string& identifier) const {
  AwaitedAnswer<std::vector<NSFileProviderItemPtr>, std::optional<NSError>> answer;
  listFreshly(extension_, identifier, answer.handler());
  using State = decltype(answer)::State;
  auto state = State::awaited;
  const auto end = Clock::now() + patience_;
  while (state == State::awaited && hostPresent_() && Clock::now() < end) state = answer.wait(kLook);
  if (state == State::awaited && hostPresent_()) return std::unexpected(noAnswer());
  if (state != State::answered) return std::unexpected(noHost());
  auto [items, error] = answer.take();
  if (error) return std::unexpected(*std::move(error));
  return std::move(items);
}

std::optional<NSError> ImportServer::outcome(CreationAnswer& answer,
                                             const std::shared_ptr<NSProgress>& progress,
                                             const std::function<void(double)>& moved) const {
  auto state = CreationAnswer::State::awaited;
  double before = 0;
  for (auto last = Clock::now(); state == CreationAnswer::State::awaited && hostPresent_();) {
    state = answer.wait(kLook);
    if (const double now = progress->fractionCompleted(); now != before) {
      before = now;
      last = Clock::now();
      moved(now);
    }
    if (Clock::now() - last > patience_) break;
  }
  if (state == CreationAnswer::State::answered) {
    auto error = std::get<3>(answer.take());
    if (!error) ++created_;
    return error;
  }
  if (state == CreationAnswer::State::awaited && hostPresent_()) return noAnswer();
  return noHost();
}

std::optional<NSError> ImportServer::createFolder(const std::string& parent, const std::string& name) const {
  CreationAnswer answer;
  const auto progress = extension_.createItemBasedOnTemplate(
      std::make_shared<ImportItem>(parent, name, std::nullopt), kCreationFields, std::nullopt,
      NSFileProviderCreateItemOptions::mayAlreadyExist, {}, answer.handler());
  return outcome(answer, progress, [](double) {});
}

std::optional<NSError> ImportServer::createFile(const std::string& parent, const std::string& name,
                                                const std::string& content, std::uint64_t size,
                                                const std::function<void(double)>& moved) const {
  CreationAnswer answer;
  const auto progress = extension_.createItemBasedOnTemplate(
      std::make_shared<ImportItem>(parent, name, size), kCreationFields, NSURL::fileURL(content),
      NSFileProviderCreateItemOptions::none, {}, answer.handler());
  return outcome(answer, progress, moved);
}

std::shared_ptr<NSProgress> ImportServer::createTree(const std::string& parent, const std::string& name,
                                                     const std::string& contents,
                                                     CreationAnswer& answer) const {
  return extension_.createItemBasedOnTemplate(
      std::make_shared<ImportItem>(parent, name, std::nullopt), kCreationFields, NSURL::fileURL(contents),
      NSFileProviderCreateItemOptions::mayAlreadyExist, {}, answer.handler());
}

}  // namespace zelto
