#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/foundation/KeyedArchive.h"

// Any bytes are either refused or give a dictionary that can be described, archived and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace zelto;
  const auto dictionary =
      NSKeyedUnarchiver::unarchivedDictionary(NSData::copyOf(std::as_bytes(std::span(bytes, size))));
  if (!dictionary) return 0;
  (void)description(*dictionary);
  // Refused only for a text that is not UTF-8, or for nesting that reading permits and writing does not.
  const auto archive = NSKeyedArchiver::archivedData(*dictionary);
  if (archive && !NSKeyedUnarchiver::unarchivedDictionary(*archive)) std::abort();
  return 0;
}
