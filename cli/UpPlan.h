#pragma once

#include <expected>
#include <optional>
#include <string>

#include "cli/Options.h"
#include "cli/Outcome.h"
#include "cli/RunRecord.h"

namespace zelto::cli {

// What `up` was asked for, with paths made absolute; nothing where the user left it open.
struct UpWish {
  std::optional<std::string> folder = {};
  std::optional<std::string> mountPoint = {};
  std::optional<bool> myFiles = {};
  std::optional<bool> offlineFiles = {};
};
// What runs already.
struct UpPresent {
  std::optional<RunRecord> record;
  bool host = false;
  bool extension = false;
};
struct UpPlan {
  bool startHost = false;
  bool startExtension = false;
  RunRecord record;  // what will run; without processes where they are to be started
};

// What `up` has to do. A pure decision.
// ERRORS: conflict, when something else runs than was asked for; says how to change it.
std::expected<UpPlan, Failure> planUp(const std::string& domain, const UpWish& wish,
                                      const UpPresent& present);

// The user's options with paths made absolute. ERRORS: usage, when the folder is none.
std::expected<UpWish, Failure> wishOf(const UpOptions& options);

}  // namespace zelto::cli
