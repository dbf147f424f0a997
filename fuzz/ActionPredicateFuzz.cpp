#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "framework/actions/ActionPredicate.h"

// Any text is either refused, at a place within it, or is a rule that can be evaluated on any items and whose
// negation says the opposite.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace zelto;
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const auto rule = ActionPredicate::parse(text);
  if (!rule) {
    if (rule.error().position > size || rule.error().message.empty()) std::abort();
    return 0;
  }
  const NSDictionary item{{"a", true}, {"b", 0}, {"c", 1.5}, {"d", "text"}};
  // Refused only where the longer, deeper text goes beyond the limits.
  const auto negation = ActionPredicate::parse("NOT (" + text + ")");
  for (const auto& items : {std::vector<NSDictionary>{}, {item}, {item, {}, item}}) {
    const bool holds = rule->evaluate(items);
    if (negation && negation->evaluate(items) == holds) std::abort();
  }
  return 0;
}
