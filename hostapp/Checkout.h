#pragma once

#include <cstdint>
#include <string>

#include "platform/foundation/NSDate.h"

namespace zelto {

// Who has checked out a file, and since when, as the user of this host sees it.
struct Checkout {
  std::string user;
  NSDate since;
  bool own = false;        // it is this host's user
  bool mayManage = false;  // this host's user may check in what others have checked out

  friend bool operator==(const Checkout&, const Checkout&) = default;
};

// "anna", since then in local time: "anna has checked it out (since 2026-11-23 14:05)"
std::string checkoutSentence(const Checkout& checkout);
// "Checked out by you", "Checked out by anna"
std::string checkoutLabel(const Checkout& checkout);
// Never 0; another one for another user or time.
std::uint32_t checkoutFingerprint(const Checkout& checkout);

// A name that can stand in a table and in labels: UTF-8 without control characters, 1 to 128 bytes.
bool isUserName(const std::string& name);

}  // namespace zelto
