#pragma once

// Included before everything else where clang compiles. The library's own headers compare a C string with a
// kj::StringPtr in this order, which since C++20 clang takes from no member operator. g++ does.

#include <kj/string.h>

namespace kj {

inline bool operator==(const char* a, const StringPtr& b) { return b == StringPtr(a); }
inline bool operator!=(const char* a, const StringPtr& b) { return !(b == StringPtr(a)); }

}  // namespace kj
