#include "support/ZeltoLocalise.h"

#include <expected>

#include <fmt/format.h>
#include <syslog.h>

#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "support/ErrorUtils.h"
#include "support/FileProviderErrorUtils.h"
#include "support/FileProviderLogger.h"

namespace zelto {

namespace {

constexpr std::size_t kLargestTable = std::size_t{64} << 20;

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::expected<std::string, NSError> dataOf(const std::string& path) {
  auto text = contentsOfFile(path, kLargestTable);
  if (text) return *std::move(text);
  return std::unexpected(FileProviderErrorUtils::errorForGenericReason(
      fmt::format("“{}” couldn’t be opened: {}.", path, text.error())));
}

std::string textUnder(const NSDictionary& strings, std::string_view token) {
  const auto* value = strings.find(token);
  const auto* text = value != nullptr ? value->asString() : nullptr;
  return text != nullptr ? *text : std::string();
}

std::optional<NSDictionary> warn(std::string message) {
  FileProviderLogger::instance().logWarn(message);
  return std::nullopt;
}

}  // namespace

ZeltoLocalise& ZeltoLocalise::instance() {
  static auto* const shared = new ZeltoLocalise();
  return *shared;
}

ZeltoLocalise::ZeltoLocalise()
    : localisedStrings_(loadStringsForResource("Strings", "json", "").value_or(NSDictionary())),
      defaultStrings_(loadStringsForResource("Strings", "json", "Base.lproj").value_or(NSDictionary())) {}

std::string ZeltoLocalise::localise(const std::string& token) { return localise(token, NSDictionary()); }

std::string ZeltoLocalise::localise(const std::string& token, LocaliseOptions options) {
  return localise(token, NSDictionary(), options);
}

std::string ZeltoLocalise::localise(const std::string& token, const NSDictionary& withParams,
                                    LocaliseOptions options) {
  return applyOptionsToString(localise(token, withParams), options);
}

std::string ZeltoLocalise::localisedStringForToken(const std::string& token) {
  if (token.empty()) return {};
  auto text = instance().lookUp(token);
  if (text.empty()) {
    syslog(LOG_USER | LOG_NOTICE, "--- ZeltoLocalise token '%s' not found", token.c_str());
    return token;
  }
  return replaceAll(replaceAll(std::move(text), "\\n", "\n"), "\\\"", "'");
}

std::string ZeltoLocalise::lookUp(std::string_view token) const {
  const std::lock_guard lock(mutex_);
  auto text = textUnder(localisedStrings_, token);
  return text.empty() ? textUnder(defaultStrings_, token) : text;
}

std::optional<NSDictionary> ZeltoLocalise::loadStringsForResource(const std::string& name,
                                                                  const std::string& ofType,
                                                                  const std::string& inDirectory) {
  const auto& bundle = NSBundle::mainBundle();
  const bool local = inDirectory.empty();
  const auto what = fmt::format("{}: {}.{}", local ? "Locale" : inDirectory, name, ofType);
  const auto path =
      local ? bundle.pathForResource(name, ofType) : bundle.pathForResource(name, ofType, inDirectory);
  if (!path) return warn(fmt::format("ZeltoLocalise: Failed to build path for '{}'", what));
  const auto text = dataOf(*path);
  if (!text) {
    return warn(
        fmt::format("ZeltoLocalise: Failed to load data for '{}'. Error={}", what, u_reason(text.error())));
  }
  const auto value = NSJSONSerialization::valueWithString(*text);
  if (!value) {
    return warn(fmt::format("ZeltoLocalise: Failed to serialise data for '{}'. Error={}", what,
                            description(value.error())));
  }
  const auto* strings = value->asDictionary();
  return strings != nullptr ? std::optional(*strings) : std::nullopt;
}

NSDictionary ZeltoLocalise::localisedStrings() const {
  const std::lock_guard lock(mutex_);
  return localisedStrings_;
}

NSDictionary ZeltoLocalise::defaultStrings() const {
  const std::lock_guard lock(mutex_);
  return defaultStrings_;
}

void ZeltoLocalise::setLocalisedStrings(NSDictionary strings) {
  const std::lock_guard lock(mutex_);
  localisedStrings_ = std::move(strings);
}

void ZeltoLocalise::setDefaultStrings(NSDictionary strings) {
  const std::lock_guard lock(mutex_);
  defaultStrings_ = std::move(strings);
}

std::string ZeltoLocalise::keptText(std::optional<std::string>& kept, const std::string& token) {
  {
    const std::lock_guard lock(mutex_);
    if (kept) return *kept;
  }
  // Two threads may both look it up, with the same result; what was set meanwhile stays.
  auto text = localisedStringForToken(token);
  const std::lock_guard lock(mutex_);
  if (!kept) kept = std::move(text);
  return *kept;
}

std::string ZeltoLocalise::optionAreYouSure() {
  return keptText(optionAreYouSure_, "MESSAGE_ARE_YOU_SURE_CONTINUE");
}

std::string ZeltoLocalise::optionContactSysAdmin() {
  return keptText(optionContactSysAdmin_, "MESSAGE_CONTACT_SYS_ADMIN");
}

void ZeltoLocalise::setOptionAreYouSure(std::optional<std::string> text) {
  const std::lock_guard lock(mutex_);
  optionAreYouSure_ = std::move(text);
}

void ZeltoLocalise::setOptionContactSysAdmin(std::optional<std::string> text) {
  const std::lock_guard lock(mutex_);
  optionContactSysAdmin_ = std::move(text);
}

}  // namespace zelto
