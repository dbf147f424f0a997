#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zelto::cli {

inline constexpr const char* kDefaultDomain = "default";

struct UpOptions {
  std::optional<std::string> folder = {};
  std::optional<std::string> mountPoint = {};
  std::optional<bool> myFiles = {};
  std::optional<bool> offlineFiles = {};
};
struct DownOptions {
  bool purge = false;
};
struct StatusOptions {};
struct ListOptions {
  std::string path;
};
struct ItemOptions {
  std::string path;
};
struct FetchOptions {
  std::vector<std::string> paths;
};
struct EvictOptions {
  std::vector<std::string> paths;
};
struct ActionsOptions {
  std::vector<std::string> paths;
};
struct DoOptions {
  std::string action;
  std::vector<std::string> paths;
};
struct BadgesOptions {
  std::vector<std::string> paths;
};
struct PendingOptions {};
struct WaitOptions {
  std::optional<double> timeout = {};  // seconds
};
struct RetryOptions {
  std::vector<std::string> paths;  // none: all
};
struct CancelOptions {
  std::vector<std::string> paths;
  bool yes = false;
};
struct ImportOptions {
  std::string source;
  std::string destination;
};
struct LogOptions {
  bool follow = false;
  std::size_t lines = 50;
};
struct ModeOptions {
  std::optional<bool> myFiles;
  std::optional<bool> offlineFiles;
};

// One call of the program.
struct Invocation {
  std::optional<std::string> domain;  // nothing: the one that runs, else kDefaultDomain
  bool json = false;
  std::variant<StatusOptions, UpOptions, DownOptions, ListOptions, ItemOptions, FetchOptions, EvictOptions,
               ActionsOptions, DoOptions, BadgesOptions, PendingOptions, WaitOptions, RetryOptions,
               CancelOptions, ImportOptions, LogOptions, ModeOptions>
      command;
};

}  // namespace zelto::cli
