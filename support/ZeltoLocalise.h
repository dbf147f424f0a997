#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// Texts for the user by token, from the bundle's string tables: the one of the user's language, and
// behind it the one of Base.lproj. Both are read once, on first use.
// THREAD: any.
class ZeltoLocalise {
 public:
  static ZeltoLocalise& instance();

  // The token's text; the token itself, after a line in the system log, when neither table has it.
  static std::string localise(const std::string& token);
  static std::string localisedStringForToken(const std::string& token);

  // The parsed table, from `inDirectory` or, when that is empty, from the user's language.
  // ERRORS: nothing, after a warning, when the resource is missing, unreadable or not an object.
  static std::optional<NSDictionary> loadStringsForResource(const std::string& name,
                                                            const std::string& ofType,
                                                            const std::string& inDirectory);

  NSDictionary localisedStrings() const;
  NSDictionary defaultStrings() const;
  void setLocalisedStrings(NSDictionary strings);
  void setDefaultStrings(NSDictionary strings);

 private:
  ZeltoLocalise();

  // The text of the first table that has one, else "".
  std::string lookUp(std::string_view token) const;

  mutable std::mutex mutex_;
  NSDictionary localisedStrings_;
  NSDictionary defaultStrings_;
};

}  // namespace zelto
