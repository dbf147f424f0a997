#pragma once

#include <expected>
#include <memory>
#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"

namespace zelto {

// A compiled pattern. Bytes of a text that are not UTF-8 count as U+FFFD. THREAD: any; immutable.
class NSRegularExpression {
 public:
  enum class Case : bool { Sensitive, Insensitive };

  // ERRORS: Cocoa 2048, "The value “PATTERN” is invalid."
  static std::expected<NSRegularExpression, NSError> regularExpressionWithPattern(
      std::string_view pattern, Case letters = Case::Sensitive);

  // False also where looking for it is given up (see below).
  bool hasMatchInString(std::string_view text) const;

  // The text with every match replaced by the template. In the template "$" and a digit stand for that group
  // of the match (as many digits as the number of groups has; 0 is the match, a group that is not there
  // nothing), a backslash takes the meaning from what follows it, and anything else stands for itself.
  // Without a match the very text that was given.
  // ERRORS: a match that takes more than about a second, or too much memory.
  std::expected<std::string, NSError> stringByReplacingMatchesInString(std::string_view text,
                                                                       std::string_view withTemplate) const;

 private:
  struct Pattern;
  explicit NSRegularExpression(std::shared_ptr<const Pattern> pattern) : pattern_(std::move(pattern)) {}

  std::shared_ptr<const Pattern> pattern_;
};

}  // namespace zelto
