#pragma once

#include <memory>
#include <string_view>

namespace zelto {

// A set of Unicode characters. THREAD: any; immutable.
class NSCharacterSet {
 public:
  // Those of the text; bytes that are not UTF-8 are left out.
  static NSCharacterSet characterSetWithCharactersInString(std::string_view text);
  // The tab and every kind of blank, no line breaks.
  static const NSCharacterSet& whitespaceCharacterSet();
  // What may stand in the parts of a URL as it is. A path's has no ";", which once began its parameters.
  static const NSCharacterSet& URLFragmentAllowedCharacterSet();
  static const NSCharacterSet& URLPathAllowedCharacterSet();
  static const NSCharacterSet& URLQueryAllowedCharacterSet();

  bool characterIsMember(char32_t character) const;
  // Whether the text has no character outside the set; a byte that is not UTF-8 is outside every set.
  bool containsAllOf(std::string_view text) const;
  // The text less the members of the set at both ends.
  std::string_view trimmed(std::string_view text) const;

 private:
  struct Members;
  explicit NSCharacterSet(std::shared_ptr<const Members> members) : members_(std::move(members)) {}
  static NSCharacterSet withPattern(const char16_t* pattern);

  std::shared_ptr<const Members> members_;
};

}  // namespace zelto
