#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/foundation/NSCharacterSet.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// What is added to the platform's strings; the first parameter is the receiver. Lengths are counted in UTF-16
// units. THREAD: any. Only u_DictionaryForJSON logs.

// Whether the path lies below the other one, by whole components, case-sensitively. Not below itself; below a
// path without components whenever it has one itself.
bool u_isInHierarchyOfPath(std::string_view receiver, std::string_view path);
// The nearest path, from the receiver upwards, whose extension is "app"; the receiver where there is none.
std::string u_appPath(std::string_view receiver);
// Every component appended in order, one separator between them.
std::string u_stringByAppendingPathComponents(std::string_view receiver,
                                              std::span<const std::string> components);
// Whether the extension, in small letters, is one of those given (which are compared as they are).
bool u_hasPathExtension(std::string_view receiver, std::span<const std::string> extensions);

// A text for log lines: "<empty>", "<** hidden **>" when asked for or with less than 10 units, else both
// ends, at most 10 units of each and never all of it, around "...". A character is never cut: it is left out.
std::string u_sensitiveStringAlwaysHidden(std::string_view receiver, bool alwaysHidden);

// The receiver parsed as JSON, of whatever type. ERRORS: nothing, after the warning
// "Utils: Failed to convert to json 'TEXT'.\nReason: ERROR".
std::optional<PropertyListValue> u_DictionaryForJSON(std::string_view receiver);

// Every word with a capital first and small letters behind, by the current locale; between words as it is.
std::string u_captilisiedString(std::string_view receiver);

// Literal and case-sensitive; an empty text occurs nowhere.
bool u_containsString(std::string_view receiver, std::string_view text);
// Whether it begins with "http", any number of "s" and "://", in any case.
bool u_hasHTTPSPrefix(std::string_view receiver);
// Whether no character lies outside the set; one that is not UTF-8 does.
bool u_onlyContainsCharactersInSet(std::string_view receiver, const NSCharacterSet& set);
bool u_isEqualToCaseInsensitive(std::string_view receiver, std::string_view text);
// False for an absent text.
bool u_isEqualToString(std::string_view receiver, const std::optional<std::string_view>& text);

// Percent-encoded outside what a URL's path, or query, may hold. ERRORS: nothing for a text that is not
// UTF-8.
std::optional<std::string> u_pathEncodedString(std::string_view receiver);
std::optional<std::string> u_queryStringEncoded(std::string_view receiver);

// ZeltoCryptUtils::md5StringForString of the receiver.
std::string u_MD5(std::string_view receiver);

std::string u_stringForInteger(std::int64_t integer);
// "" for an absent buffer, and for one that is not UTF-8.
std::string u_stringWithUTF8String(const char* buffer);

}  // namespace zelto
