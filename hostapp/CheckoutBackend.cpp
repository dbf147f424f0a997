#include "hostapp/CheckoutBackend.h"

#include "hostapp/BeneathFolder.h"
#include "hostapp/CheckoutWork.h"

namespace zelto {

namespace {

// A file of a server that keeps check-outs.
class CheckoutFile : public BackendFile {
 public:
  CheckoutFile(std::unique_ptr<BackendFile> inner, std::shared_ptr<Checkouts> checkouts, std::string path)
      : inner_(std::move(inner)), checkouts_(std::move(checkouts)), path_(std::move(path)) {}

  std::expected<BackendEntry, NSError> stat() override {
    auto entry = inner_->stat();
    if (entry) showCheckout(*entry, checkouts_->of(path_));
    return entry;
  }
  std::expected<std::size_t, NSError> readAt(std::span<std::byte> buffer, std::uint64_t offset) override {
    return inner_->readAt(buffer, offset);
  }
  std::expected<std::uint64_t, NSError> copyTo(int descriptor, std::uint64_t offset,
                                               std::uint64_t length) override {
    return inner_->copyTo(descriptor, offset, length);
  }

 private:
  const std::unique_ptr<BackendFile> inner_;
  const std::shared_ptr<Checkouts> checkouts_;
  const std::string path_;
};

std::optional<Checkout> named(const std::map<std::string, Checkout, std::less<>>& checkouts,
                              const std::string& name) {
  if (checkouts.empty()) return std::nullopt;
  const auto found = checkouts.find(name);
  return found == checkouts.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

void showCheckout(BackendEntry& entry, const std::optional<Checkout>& checkout) {
  if (entry.stat.kind != EntryKind::file) return;
  entry.stat.keepsCheckouts = true;
  if (!checkout) return;
  entry.stat.checkout = checkoutFingerprint(*checkout);
  entry.stat.writable = entry.stat.writable && checkout->own;
  entry.checkout = std::make_shared<const Checkout>(*checkout);
}

// The check-outs are looked at first: what changes after that is told of by an event.
std::expected<BackendListing, NSError> CheckoutBackend::list(const std::string& folder) {
  if (folder.empty()) return inner_->list(folder);
  const auto checkouts = checkouts_->inFolder(folder);
  auto listing = inner_->list(folder);
  if (!listing) return listing;
  for (auto& entry : listing->entries) showCheckout(entry, named(checkouts, entry.name));
  return listing;
}

std::expected<BackendEntry, NSError> CheckoutBackend::stat(const std::string& path) {
  if (splitPath(path).folder.empty()) return inner_->stat(path);
  const auto checkout = checkouts_->of(path);
  auto entry = inner_->stat(path);
  if (entry) showCheckout(*entry, checkout);
  return entry;
}

std::expected<std::vector<std::optional<BackendEntry>>, NSError> CheckoutBackend::statNames(
    const std::string& folder, const std::vector<std::string>& names) {
  if (folder.empty()) return inner_->statNames(folder, names);
  const auto checkouts = checkouts_->inFolder(folder);
  auto found = inner_->statNames(folder, names);
  if (!found) return found;
  for (auto& entry : *found) {
    if (entry) showCheckout(*entry, named(checkouts, entry->name));
  }
  return found;
}

std::expected<std::unique_ptr<BackendFile>, NSError> CheckoutBackend::open(const std::string& path) {
  auto file = inner_->open(path);
  if (!file) return file;
  return std::make_unique<CheckoutFile>(std::move(*file), checkouts_, path);
}

std::expected<std::unique_ptr<BackendWork>, NSError> CheckoutBackend::upload(const UploadRequest& request) {
  return CheckoutWork::begin(checkouts_, {CheckoutWork::Kind::upload, request.path, request.path},
                             [this, &request] { return inner_->upload(request); });
}

std::expected<BackendEntry, NSError> CheckoutBackend::createFolder(const std::string& path) {
  return inner_->createFolder(path);
}

std::expected<std::unique_ptr<BackendWork>, NSError> CheckoutBackend::remove(const std::string& path) {
  return CheckoutWork::begin(checkouts_, {CheckoutWork::Kind::removal, path, path},
                             [this, &path] { return inner_->remove(path); });
}

std::expected<BackendEntry, NSError> CheckoutBackend::move(const std::string& path,
                                                           const std::string& destination) {
  auto moved = checkouts_->move(path, destination, [&] { return inner_->move(path, destination); });
  if (moved) showCheckout(*moved, checkouts_->of(destination));
  return moved;
}

std::expected<std::unique_ptr<BackendWork>, NSError> CheckoutBackend::moveByCopying(
    const std::string& path, const std::string& destination) {
  return CheckoutWork::begin(checkouts_, {CheckoutWork::Kind::copy, path, destination},
                             [&] { return inner_->moveByCopying(path, destination); });
}

void CheckoutBackend::setChangeHandler(std::function<void(FolderEvent)> handler) {
  if (!handler) {
    checkouts_->setChangeHandler({});
    return inner_->setChangeHandler({});
  }
  inner_->setChangeHandler(handler);
  checkouts_->setChangeHandler([report = std::move(handler)](const std::string& path) {
    auto split = splitPath(path);
    report({.folder = std::move(split.folder), .name = std::move(split.name)});
  });
}

}  // namespace zelto
