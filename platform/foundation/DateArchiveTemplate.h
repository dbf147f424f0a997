#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/foundation/NSData.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// Archives of one-entry dictionaries that hold a date, made by copying a finished archive and writing the
// date's eight bytes into it. The template of the last key is kept, since one key serves every item.
// THREAD: any.
class DateArchiveTemplate {
 public:
  static DateArchiveTemplate& shared();

  // Nothing when the dictionary is of another form or the date is one that archives write shorter.
  std::optional<NSData> archive(const NSDictionary& dictionary);

 private:
  struct Template {
    std::string key;
    NSData archive;
    std::size_t dateOffset;
  };

  DateArchiveTemplate() = default;

  static std::shared_ptr<const Template> makeTemplate(std::string_view key);
  std::shared_ptr<const Template> templateFor(std::string_view key);

  std::mutex mutex_;
  std::shared_ptr<const Template> latest_;
};

}  // namespace zelto
