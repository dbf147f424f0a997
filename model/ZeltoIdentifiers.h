#pragma once

#include <string>

namespace zelto {

// The identifiers that extension and host application are signed with.
class ZeltoIdentifiers {
 public:
  static const std::string& teamIdentifier();
  // The application group whose directory both share.
  static const std::string& groupIdentifier();
};

}  // namespace zelto
