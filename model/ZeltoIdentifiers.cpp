#include "model/ZeltoIdentifiers.h"

namespace zelto {

const std::string& ZeltoIdentifiers::teamIdentifier() {
  static const auto* const identifier = new std::string("KZ83MQ41TX");
  return *identifier;
}

const std::string& ZeltoIdentifiers::groupIdentifier() {
  static const auto* const identifier = new std::string("KZ83MQ41TX.com.zelto.macos");
  return *identifier;
}

}  // namespace zelto
