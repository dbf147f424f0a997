#pragma once

#include "cli/Options.h"
#include "cli/Outcome.h"

namespace zelto::cli {

// The commands of the program, one file each. They print what they have to say to standard output.
// BLOCKS: all of them. `domain` is the one that was named, if any; `json` asks for JSON.
using NamedDomain = std::optional<std::string>;

Outcome up(const UpOptions& options, const NamedDomain& domain, bool json);
Outcome down(const DownOptions& options, const NamedDomain& domain);
Outcome status(const NamedDomain& domain, bool json);
Outcome list(const ListOptions& options, const NamedDomain& domain, bool json);
Outcome item(const ItemOptions& options, const NamedDomain& domain, bool json);
Outcome fetch(const FetchOptions& options, const NamedDomain& domain);
Outcome evict(const EvictOptions& options, const NamedDomain& domain, bool json);
Outcome actions(const ActionsOptions& options, const NamedDomain& domain, bool json);
Outcome perform(const DoOptions& options, const NamedDomain& domain);
Outcome badges(const BadgesOptions& options, const NamedDomain& domain, bool json);
Outcome pending(const NamedDomain& domain, bool json);
Outcome wait(const WaitOptions& options, const NamedDomain& domain);
Outcome retry(const RetryOptions& options, const NamedDomain& domain);
Outcome cancel(const CancelOptions& options, const NamedDomain& domain);
Outcome import(const ImportOptions& options, const NamedDomain& domain);
Outcome log(const LogOptions& options, const NamedDomain& domain);
Outcome mode(const ModeOptions& options, const NamedDomain& domain);

}  // namespace zelto::cli
