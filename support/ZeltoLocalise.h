#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"
#include "support/LocaliseOptions.h"

namespace zelto {

// Texts for the user by token, from the bundle's string tables: the one of the user's language, and
// behind it the one of Base.lproj. Both are read once, on first use.
// THREAD: any.
class ZeltoLocalise {
 public:
  static ZeltoLocalise& instance();

  // The token's text; the token itself, after a line in the system log, when neither table has it; "" of an
  // empty token.
  static std::string localisedStringForToken(const std::string& token);

  // The token's text, its placeholders filled in from the parameters one after the other (what is filled in
  // is searched for the next one's name, too), then changed by the options.
  static std::string localise(const std::string& token);
  static std::string localise(const std::string& token, const NSDictionary& withParams);
  static std::string localise(const std::string& token, LocaliseOptions options);
  static std::string localise(const std::string& token, const NSDictionary& withParams,
                              LocaliseOptions options);
  static std::string applyOptionsToString(std::string string, LocaliseOptions options);

  // The text with every "{{ key }}" replaced. The key is part of a regular expression, the value is its
  // template: neither is escaped, so pattern characters, "$" with a digit, and backslashes have their
  // meaning. ERRORS: the text as it was, after a warning, where the key makes no pattern or one that takes
  // for ever.
  static std::string stringByReplacingKey(const std::string& key, const std::string& withValue,
                                          const std::string& inString);

  // "NAME and COUNT more" in the user's words; for a count of 0 that the file was uploaded.
  static std::string item(const std::string& name, std::int64_t andMore);

  // The parsed table, from `inDirectory` or, when that is empty, from the user's language.
  // ERRORS: nothing, after a warning, when the resource is missing, unreadable or not an object.
  static std::optional<NSDictionary> loadStringsForResource(const std::string& name,
                                                            const std::string& ofType,
                                                            const std::string& inDirectory);

  NSDictionary localisedStrings() const;
  NSDictionary defaultStrings() const;
  void setLocalisedStrings(NSDictionary strings);
  void setDefaultStrings(NSDictionary strings);

  // What the options append. Looked up on first use, then kept; nothing has them looked up again.
  std::string optionAreYouSure();
  std::string optionContactSysAdmin();
  void setOptionAreYouSure(std::optional<std::string> text);
  void setOptionContactSysAdmin(std::optional<std::string> text);

 private:
  ZeltoLocalise();

  // The text of the first table that has one, else "".
  std::string lookUp(std::string_view token) const;
  std::string keptText(std::optional<std::string>& kept, const std::string& token);

  mutable std::mutex mutex_;
  NSDictionary localisedStrings_;
  NSDictionary defaultStrings_;
  std::optional<std::string> optionAreYouSure_;
  std::optional<std::string> optionContactSysAdmin_;
};

}  // namespace zelto
