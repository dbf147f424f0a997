#pragma once

#include <string>
#include <string_view>

namespace zelto {

// Names of files that are on their way. THREAD: any.

// A UUID in its usual form, in either case: what lies in the group directory.
bool isUuidName(std::string_view name);
// A new one, random, upper case.
std::string newUuidName();

// What is being put together on the server lies, until it is complete, beside its place under a name of this
// beginning and a UUID. No item can have such a name.
inline constexpr std::string_view kUnfinishedPrefix = ".zelto-upload-";
bool isUnfinishedName(std::string_view name);

}  // namespace zelto
