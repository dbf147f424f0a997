#include <cerrno>

#include "framework/propagation/StepRuns.h"
#include "framework/requests/Errno.h"

namespace zelto {

using Fields = NSFileProviderItemFields;

NSFileProviderItemFields knownFields(Fields fields) {
  constexpr std::uint64_t kNamed = 0x7ff;
  return fields & static_cast<Fields>(kNamed);
}

void MetadataRun::send(Fields fields) {
  auto handler = expect<NSFileProviderItemPtr, Fields, bool, std::optional<NSError>>(
      [this, fields](const NSFileProviderItemPtr& item, Fields pending, bool,
                     const std::optional<NSError>& error) { applied(item, fields, pending, error); });
  follow(parts_->extension.modifyItem(templateItem(), step_.version, fields, std::nullopt,
                                      NSFileProviderModifyItemOptions::none, {}, std::move(handler)));
}

void MetadataRun::applied(const NSFileProviderItemPtr& item, Fields asked, Fields pending,
                          const std::optional<NSError>& error) {
  if (error) return errnoForError(*error) == ENOENT ? serverLost(step_.node.inode) : fail(error);
  const Fields left = knownFields(pending) & asked;
  // What stays pending as it was would do so for ever.
  if (left != Fields::none && left != asked) return send(left);
  // A date that was only acknowledged makes the answer look like another version than the server has.
  settle(item && isVersionOfStep(item) ? item : nullptr);
}

}  // namespace zelto
