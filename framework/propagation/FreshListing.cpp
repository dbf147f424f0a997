#include "framework/propagation/FreshListing.h"

#include <cerrno>
#include <utility>

namespace zelto {
namespace {

class Observer final : public NSFileProviderEnumerationObserver {
 public:
  explicit Observer(FreshListingHandler handler) : handler_(std::move(handler)) {}

  void didEnumerateItems(const std::vector<NSFileProviderItemPtr>& items) override {
    items_.insert(items_.end(), items.begin(), items.end());
  }
  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) override {
    if (nextPage) return finish(errorWithPOSIXCode(EOVERFLOW, "a listing of several pages"));
    finish(std::nullopt);
  }
  void finishEnumeratingWithError(const NSError& error) override { finish(error); }

 private:
  void finish(const std::optional<NSError>& error) {
    if (handler_) std::exchange(handler_, nullptr)(std::move(items_), error);
  }

  FreshListingHandler handler_;
  std::vector<NSFileProviderItemPtr> items_;
};

}  // namespace

void listFreshly(NSFileProviderPrincipal& extension, const std::string& identifier,
                 FreshListingHandler handler) {
  std::optional<NSError> error;
  const auto enumerator = extension.enumeratorForContainerItemIdentifier(identifier, {}, &error);
  if (!enumerator) return handler({}, error ? error : errorWithPOSIXCode(EIO, "no enumerator"));
  enumerator->enumerateItemsForObserver(std::make_shared<Observer>(std::move(handler)), {});
}

}  // namespace zelto
