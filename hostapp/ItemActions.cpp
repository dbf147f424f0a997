#include "hostapp/ItemActions.h"

#include <cerrno>

#include <fmt/format.h>

#include "hostapp/BackendErrors.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Unicode.h"

namespace zelto {

namespace {

constexpr std::size_t kMostFields = 64;
constexpr std::size_t kLongestName = 128;
constexpr std::size_t kLongestValue = 4096;

std::string notSetUp(OfficeSuite suite) {
  const bool online = suite == OfficeSuite::online;
  return fmt::format(
      "No address is set for {}. Set {} to https://SERVER/{{path}} before \"zelto up\", or start zelto-host "
      "with {}.",
      online ? "the online office" : "Office 365", online ? "ZELTO_OFFICE_ONLINE" : "ZELTO_OFFICE_365",
      online ? "--office-online" : "--office-365");
}

bool isText(const std::string& text, std::size_t longest) {
  return text.size() <= longest && isValidUTF8(text) && !text.contains('\0');
}

NSError fieldError(const std::string& identifier, const std::string& reason) {
  return errorWithPOSIXCode(EINVAL, "\"" + identifier + "\": " + reason);
}

}  // namespace

void ItemActions::notify(const std::string& identifier, const std::string& text) {
  parts_.log->info("\"" + identifier + "\": " + text);
  parts_.notices->show(lastPathComponent(identifier), text);
}

void ItemActions::showFailure(const std::string& identifier, const NSError& error) {
  parts_.log->warn(error.localizedDescription());
  parts_.notices->show(lastPathComponent(identifier), error.localizedDescription());
}

// The path on the server, of an item that is there.
std::expected<std::string, NSError> ItemActions::existing(const std::string& identifier) const {
  const auto item = parts_.resolver->resolve(identifier);
  if (!item) return std::unexpected(noSuchItemError(identifier));
  const auto entry = parts_.backend->stat(item->path);
  if (!entry) return std::unexpected(entry.error());
  return item->path;
}

void ItemActions::showCustomFields(const std::string& identifier) {
  const auto fields = customFields(identifier);
  if (!fields) return showFailure(identifier, fields.error());
  std::string text;
  for (const auto& [name, value] : *fields) text += (text.empty() ? "" : "\n") + name + ": " + value;
  notify(identifier, text.empty() ? "No custom fields." : text);
}

void ItemActions::showCheckoutStatus(const std::string& identifier) {
  const auto found = checkout(identifier);
  if (!found) return showFailure(identifier, found.error());
  if (!*found) return notify(identifier, "Not checked out.");
  const auto& held = **found;
  notify(identifier, held.own ? "You have checked it out." : checkoutSentence(held) + ".");
}

void ItemActions::openWith(OfficeSuite suite, const std::string& identifier) {
  const auto path = existing(identifier);
  if (!path) return showFailure(identifier, path.error());
  const auto& target = suite == OfficeSuite::online ? parts_.office.online : parts_.office.office365;
  if (target.empty()) return notify(identifier, notSetUp(suite));
  const auto url = urlForPath(target, *path);
  if (const auto error = parts_.opener->open(url)) return showFailure(identifier, *error);
  parts_.log->info("\"" + identifier + "\" is opened at " + url);
}

std::optional<NSError> ItemActions::checkOut(const std::string& identifier) {
  const auto path = existing(identifier);
  if (!path) return path.error();
  if (!parts_.checkouts) return cocoaError(kFeatureUnsupportedError, "This server keeps no check-outs.");
  return parts_.checkouts->checkOut(*path);
}

std::optional<NSError> ItemActions::checkIn(const std::string& identifier) {
  const auto path = existing(identifier);
  if (!path) return path.error();
  return parts_.checkouts ? parts_.checkouts->checkIn(*path) : std::nullopt;
}

std::expected<std::optional<Checkout>, NSError> ItemActions::checkout(const std::string& identifier) const {
  const auto path = existing(identifier);
  if (!path) return std::unexpected(path.error());
  return parts_.checkouts ? parts_.checkouts->of(*path) : std::nullopt;
}

std::expected<CustomFields, NSError> ItemActions::customFields(const std::string& identifier) const {
  const auto path = existing(identifier);
  if (!path) return std::unexpected(path.error());
  return parts_.store->fields(*path);
}

std::optional<NSError> ItemActions::setCustomField(const std::string& identifier, const std::string& name,
                                                   const std::string& value) {
  const auto path = existing(identifier);
  if (!path) return path.error();
  if (name.empty() || !isText(name, kLongestName) || !isText(value, kLongestValue)) {
    return fieldError(identifier, "a field has a name of 1 to 128 and a value of at most 4096 bytes of text");
  }
  const auto present = parts_.store->fields(*path);
  if (!value.empty() && present.size() >= kMostFields && !present.contains(name)) {
    return fieldError(identifier, "it has 64 fields already");
  }
  parts_.store->setField(*path, name, value);
  return std::nullopt;
}

}  // namespace zelto
