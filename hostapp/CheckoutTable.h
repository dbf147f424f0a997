#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/NSDate.h"

namespace zelto {

// What is checked out in one share, by the path below the share.
class CheckoutTable {
 public:
  struct Entry {
    std::string user;
    NSDate since;

    friend bool operator==(const Entry&, const Entry&) = default;
  };
  using Entries = std::map<std::string, Entry, std::less<>>;

  // Nothing for a text that no host has written. "" is an empty table; entries that cannot be are left out.
  static std::optional<CheckoutTable> decoded(std::string_view text);
  std::string encoded() const;

  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  const Entry* at(std::string_view path) const;
  // At the path and below it.
  Entries atOrBelow(std::string_view path) const;
  // The files of one folder ("": the share's own), by name.
  Entries inFolder(std::string_view folder) const;

  void set(const std::string& path, Entry entry) { entries_.insert_or_assign(path, std::move(entry)); }
  void remove(std::string_view path);

  // The paths that differ.
  std::vector<std::string> differencesTo(const CheckoutTable& other) const;

 private:
  Entries entries_;
};

}  // namespace zelto
