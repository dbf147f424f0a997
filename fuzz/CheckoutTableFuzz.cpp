#include <cstdlib>

#include "hostapp/BeneathFolder.h"
#include "hostapp/Checkout.h"
#include "hostapp/CheckoutTable.h"

// A table of check-outs lies on the server, where others can write: whatever it holds, what is taken from it
// can be served, and is written as it was read.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace zelto;
  const auto table = CheckoutTable::decoded({reinterpret_cast<const char*>(data), size});
  if (!table) return 0;
  for (const auto& [path, entry] : table->atOrBelow("")) {
    if (!isRelativePath(path) || !isUserName(entry.user)) std::abort();
    if (checkoutSentence({entry.user, entry.since, false, false}).empty()) std::abort();
  }
  const auto again = CheckoutTable::decoded(table->encoded());
  if (!again || again->size() != table->size()) std::abort();
  return 0;
}
