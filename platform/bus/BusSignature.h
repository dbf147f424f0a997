#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bus/SessionBus.h"

namespace zelto {

// The D-Bus types that arguments may have; the letters are those of a signature.
enum class BusType {
  string,
  bytes,
  boolean,
  int32,
  uint32,
  int64,
  uint64,
  real,
  descriptor,
  strings,
  options,
  byteArrays
};

// The types in a signature of our letters; nothing when it has another letter or more than 32 types.
std::optional<std::vector<BusType>> typesOfSignature(std::string_view signature);
// The signature that the arguments have.
std::string signatureOfArguments(const BusArguments& arguments);
// Nothing when the arguments fit the signature, else a sentence that says where they do not.
std::optional<std::string> mismatch(std::string_view signature, const BusArguments& arguments);

// Whether a text may travel as a D-Bus string: well-formed UTF-8 without a zero. A message bus cuts the
// connection of a sender of anything else.
bool isBusString(std::string_view text);

}  // namespace zelto
