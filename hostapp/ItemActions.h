#pragma once

#include <expected>
#include <memory>
#include <optional>
#include <string>

#include "hostapp/Checkouts.h"
#include "hostapp/HostStore.h"
#include "hostapp/ItemResolver.h"
#include "hostapp/LogFile.h"
#include "hostapp/Notices.h"
#include "hostapp/UrlOpener.h"

namespace zelto {

// Where documents are opened on the web: URL templates (UrlOpener.h), "" for a suite that is not set up.
struct OfficeTemplates {
  std::string online;
  std::string office365;
};
enum class OfficeSuite { online, office365 };

// What users do with single items beside reading and writing them, by identifier. Those without a result
// answer with a notice, also when they fail. THREAD: any. BLOCKS: on the server.
class ItemActions {
 public:
  struct Parts {
    std::shared_ptr<ServerBackend> backend;
    std::shared_ptr<ItemResolver> resolver;
    std::shared_ptr<Checkouts> checkouts;  // null: this server keeps none
    std::shared_ptr<HostStore> store;
    std::shared_ptr<Notices> notices;
    std::shared_ptr<UrlOpener> opener;
    std::shared_ptr<LogFile> log;
    OfficeTemplates office;
  };
  explicit ItemActions(Parts parts) : parts_(std::move(parts)) {}

  void showCustomFields(const std::string& identifier);
  void showCheckoutStatus(const std::string& identifier);
  void openWith(OfficeSuite suite, const std::string& identifier);

  // ERRORS: no such item; the server keeps no check-outs; those of Checkouts.
  std::optional<NSError> checkOut(const std::string& identifier);
  std::optional<NSError> checkIn(const std::string& identifier);
  // Nothing for an item that is not checked out.
  std::expected<std::optional<Checkout>, NSError> checkout(const std::string& identifier) const;

  // ERRORS: no such item; a name or value that is too long, or one too many (EINVAL).
  std::expected<CustomFields, NSError> customFields(const std::string& identifier) const;
  // An empty value removes the field.
  std::optional<NSError> setCustomField(const std::string& identifier, const std::string& name,
                                        const std::string& value);
  // Tells the user that an action failed.
  void showFailure(const std::string& identifier, const NSError& error);

 private:
  std::expected<std::string, NSError> existing(const std::string& identifier) const;
  void notify(const std::string& identifier, const std::string& text);

  const Parts parts_;
};

}  // namespace zelto
