#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/NSData.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/PropertyListNode.h"

namespace zelto {

// Resolves the numbered objects of a keyed archive into values. Archives come from outside, so nothing
// in them is taken on trust.
class ArchiveReader {
 public:
  // ERRORS: the reason why the archive was refused.
  static std::expected<NSDictionary, std::string> dictionary(const NSData& archive);

 private:
  // What is known of one object. Objects that several others share are resolved once; the cost is what
  // their value takes as a part of the whole, counted as often as it is referred to.
  struct Resolved {
    bool open = false;
    std::optional<PropertyListValue> value;
    std::uint64_t cost = 0;
  };

  explicit ArchiveReader(plist_t archive);

  const PropertyListValue* resolve(plist_t reference, std::size_t depth);
  std::optional<PropertyListValue> valueOf(plist_t object, std::size_t depth);
  std::optional<PropertyListValue> instanceOf(const std::string& className, plist_t object,
                                              std::size_t depth);
  std::optional<PropertyListValue> dictionaryValue(plist_t object, std::size_t depth);
  std::optional<PropertyListValue> arrayValue(plist_t object, std::size_t depth);
  std::optional<std::string> classNameOf(plist_t object) const;
  std::optional<std::uint64_t> indexOf(plist_t reference) const;
  std::nullopt_t fail(const char* problem);

  std::vector<plist_t> objects_;
  std::vector<Resolved> resolved_;
  // The cost of everything resolved for the object that is being put together.
  std::uint64_t cost_ = 0;
  std::string problem_;
};

}  // namespace zelto
