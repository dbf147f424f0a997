#include "hostapp/Checkout.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "platform/foundation/Unicode.h"

namespace zelto {

namespace {

constexpr std::size_t kLongestUser = 128;

std::string localTime(NSDate date) {
  const std::time_t seconds = date.timespec().tv_sec;
  std::tm parts{};
  ::localtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &parts);
  return text.data();
}

}  // namespace

std::string checkoutSentence(const Checkout& checkout) {
  return checkout.user + " has checked it out (since " + localTime(checkout.since) + ")";
}

std::string checkoutLabel(const Checkout& checkout) {
  return "Checked out by " + (checkout.own ? std::string("you") : checkout.user);
}

// FNV-1a.
std::uint32_t checkoutFingerprint(const Checkout& checkout) {
  std::uint32_t hash = 2166136261U;
  const auto add = [&hash](std::string_view bytes) {
    for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  };
  add(checkout.user);
  add(std::to_string(checkout.since.timespec().tv_sec));
  add(checkout.own ? "own" : "");
  add(checkout.mayManage ? "manage" : "");
  return std::max(hash, 1U);
}

bool isUserName(const std::string& name) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  return !name.empty() && name.size() <= kLongestUser && isValidUTF8(name) &&
         std::none_of(name.begin(), name.end(), isControl);
}

}  // namespace zelto
