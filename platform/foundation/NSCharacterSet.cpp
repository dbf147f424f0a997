#include "platform/foundation/NSCharacterSet.h"

#include <algorithm>
#include <cstdint>

#include <unicode/uniset.h>

#include "platform/foundation/IcuText.h"
#include "platform/foundation/Unicode.h"

namespace zelto {

struct NSCharacterSet::Members {
  icu::UnicodeSet set;
};

NSCharacterSet NSCharacterSet::characterSetWithCharactersInString(std::string_view text) {
  auto members = std::make_shared<Members>();
  for (std::size_t at = 0; at < text.size();) {
    const auto character = nextCharacter(text, at);
    if (character) members->set.add(static_cast<UChar32>(*character));
  }
  return NSCharacterSet(std::move(members));
}

NSCharacterSet NSCharacterSet::withPattern(const char16_t* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto members = std::make_shared<Members>();
  members->set.applyPattern(pattern, status).freeze();
  return NSCharacterSet(std::move(members));
}

const NSCharacterSet& NSCharacterSet::whitespaceCharacterSet() {
  static const auto* const set = new NSCharacterSet(withPattern(u"[\\t\\p{Zs}]"));
  return *set;
}

const NSCharacterSet& NSCharacterSet::URLFragmentAllowedCharacterSet() {
  static const auto* const set = new NSCharacterSet(withPattern(u"[A-Za-z0-9\\-._~!\\$\\&'()*+,;=\\:@/?]"));
  return *set;
}

const NSCharacterSet& NSCharacterSet::URLPathAllowedCharacterSet() {
  static const auto* const set = new NSCharacterSet(withPattern(u"[A-Za-z0-9\\-._~!\\$\\&'()*+,=\\:@/]"));
  return *set;
}

const NSCharacterSet& NSCharacterSet::URLQueryAllowedCharacterSet() {
  return URLFragmentAllowedCharacterSet();
}

bool NSCharacterSet::characterIsMember(char32_t character) const {
  return members_->set.contains(static_cast<UChar32>(character)) != 0;
}

bool NSCharacterSet::containsAllOf(std::string_view text) const {
  for (std::size_t at = 0; at < text.size();) {
    const auto character = nextCharacter(text, at);
    if (!character || !characterIsMember(*character)) return false;
  }
  return true;
}

std::string_view NSCharacterSet::trimmed(std::string_view text) const {
  std::size_t begin = text.size();
  std::size_t end = text.size();
  for (std::size_t at = 0; at < text.size();) {
    const auto start = at;
    const auto character = nextCharacter(text, at);
    if (character && characterIsMember(*character)) continue;
    begin = std::min(begin, start);
    end = at;
  }
  return text.substr(begin, end - begin);
}

}  // namespace zelto
