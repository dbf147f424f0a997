#include "extension/FileProviderExtension.h"

namespace zelto {

// Not carried out yet: dropped without an answer, as for want of a host. The volume is read-only until then.
std::shared_ptr<NSProgress> FileProviderExtension::modifyItem(
    const NSFileProviderItemPtr&, const NSFileProviderItemVersion&, NSFileProviderItemFields,
    const std::optional<NSURL>&, NSFileProviderModifyItemOptions, const NSFileProviderRequest&,
    NSFileProviderItemCompletion) {
  return NSProgress::create();
}

}  // namespace zelto
