#pragma once

#include <expected>
#include <functional>
#include <string>
#include <vector>

#include "desktop/core/GlibHandles.h"

namespace zelto::desktop {

struct BusTarget {
  std::string name;
  std::string object;
  std::string interface;
};
// The value, or the other side's message for people.
using BusReply = std::expected<VariantPointer, std::string>;
using BusCompletion = std::move_only_function<void(BusReply)>;

inline constexpr int kNoLimit = G_MAXINT;
inline constexpr int kUsualLimit = -1;

// Calls a method; `arguments` is a tuple, may be floating, null stands for none.
// THREAD: the main context's. BLOCKS: never. COMPLETES: once, on the same thread and after this has returned;
// not at all once `cancellable` is cancelled.
void callBus(GDBusConnection& bus, const BusTarget& target, const char* method, GVariant* arguments,
             int limit, GCancellable& cancellable, BusCompletion completion);

// The one string of a reply; empty when it is made otherwise.
std::string textOf(const VariantPointer& reply);
// Paths as arguments: names need not be UTF-8, so they are arrays of bytes.
GVariant* pathArgument(const std::string& path);
GVariant* pathsArgument(const std::vector<std::string>& paths);
// The reverse of pathsArgument.
std::vector<std::string> pathsOf(GVariant* paths);

}  // namespace zelto::desktop
