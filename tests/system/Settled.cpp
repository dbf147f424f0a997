#include "tests/system/Settled.h"

#include <regex>

namespace zelto::test {
namespace {

std::string strayNow(TestSystem& system) {
  static const std::regex kUuid("[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}");
  std::string stray;
  std::error_code ignored;
  for (fs::recursive_directory_iterator at(system.data(), ignored), end; !ignored && at != end;
       at.increment(ignored)) {
    const bool transfer = std::regex_match(at->path().filename().string(), kUuid);
    const bool local = at->path().parent_path().filename() == "local";
    if (at->is_regular_file(ignored) && (transfer || local)) stray += at->path().string() + "\n";
  }
  for (fs::recursive_directory_iterator at(system.served(), ignored), end; !ignored && at != end;
       at.increment(ignored)) {
    if (at->path().filename().string().starts_with(".zelto-")) stray += at->path().string() + "\n";
  }
  return stray;
}

}  // namespace

std::string pendingNow(TestSystem& system) {
  const auto reply = system.callManager("Pending", "", {});
  return reply ? std::get<std::string>(reply->at(0)) : reply.error().localizedDescription();
}

std::int64_t countOf(TestSystem& system, const char* what) {
  const NSDictionary state = system.status();
  const PropertyListValue* const count = state.find(what);
  return count != nullptr ? count->integerValue() : -1;
}

std::string waitUntilSettled(TestSystem& system, std::chrono::milliseconds limit) {
  const bool settled = eventually(
      [&] { return system.callManager("Wait", "", {}).has_value() && pendingNow(system) == "[]"; }, limit);
  return settled ? "" : pendingNow(system);
}

std::string strayFiles(TestSystem& system) {
  std::string stray;
  eventually([&] { return (stray = strayNow(system)).empty(); });
  return stray;
}

}  // namespace zelto::test
