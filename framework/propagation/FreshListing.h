#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

using FreshListingHandler = Completion<std::vector<NSFileProviderItemPtr>, std::optional<NSError>>;

// Asks the extension what a folder holds now, past everything that is known here.
// COMPLETES: once, on any thread, or is dropped where the extension never answers.
void listFreshly(NSFileProviderPrincipal& extension, const std::string& identifier,
                 FreshListingHandler handler);

}  // namespace zelto
