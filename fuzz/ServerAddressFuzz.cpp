#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "support/ZeltoHostnameUtils.h"

// Any text is either no address or has a secure canonical form with a host, which stands for itself.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace zelto;
  const std::string_view typed(reinterpret_cast<const char*>(bytes), size);
  const auto canonical = ZeltoHostnameUtils::sanitiseServerAddress(typed);
  const auto friendly = ZeltoHostnameUtils::userFriendlyServerAddress(typed);
  if (canonical.has_value() == friendly.empty()) std::abort();
  if (canonical.has_value() != ZeltoHostnameUtils::isValidServerAddress(typed)) std::abort();
  if (!canonical) return 0;
  if (!canonical->starts_with("https://") || canonical->ends_with(":443")) std::abort();
  if (canonical->find('/', 8) != std::string::npos || canonical->contains('?')) std::abort();
  // Escapes are escaped again.
  if (!canonical->contains('%') && ZeltoHostnameUtils::sanitiseServerAddress(*canonical) != canonical) {
    std::abort();
  }
  return 0;
}
