#pragma once

#include <memory>

#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

struct MetadataChange;

// The change that is carried out for a set of changed fields, none of which is content, name or parent. Null
// where none of the bits is known.
const MetadataChange* metadataChangeFor(NSFileProviderItemFields changedFields);

// Acknowledges a change that the server does not keep, and does not ask the host but for the item's look-up.
// COMPLETES: as a look-up does, with the item found and the fields without the change's own.
std::shared_ptr<NSProgress> acknowledge(const MetadataChange& change, NSFileProviderItemPtr item,
                                        NSFileProviderItemFields changedFields,
                                        NSFileProviderItemCompletion completionHandler);

}  // namespace zelto
