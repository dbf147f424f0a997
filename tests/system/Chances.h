#pragma once

#include <cstdlib>
#include <string>

namespace zelto::test {

// How often, or from which seed on, a random test runs: as the environment says, for runs longer than those
// of the suite, or the same again.
inline unsigned numberFromEnvironment(const char* name, unsigned otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr ? static_cast<unsigned>(std::stoul(value)) : otherwise;
}

}  // namespace zelto::test
