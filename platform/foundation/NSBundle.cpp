#include "platform/foundation/NSBundle.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "platform/foundation/Path.h"
#include "platform/foundation/PropertyListFile.h"

namespace zelto {
namespace {

bool isFile(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored);
}

bool isFolder(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

std::string mainResourcePath() {
  const char* const named = std::getenv("ZELTO_RESOURCES");
  if (named != nullptr && *named != '\0') return named;
  std::error_code ignored;
  const auto executable = std::filesystem::read_symlink("/proc/self/exe", ignored);
  const std::string folder = executable.parent_path().native();
  std::string beside = stringByAppendingPathComponent(folder, "resources");
  return isFolder(beside) ? beside : stringByAppendingPathComponent(folder, "../share/zelto/resources");
}

// The first non-empty of the environment variables.
std::string_view firstOf(std::initializer_list<const char*> names) {
  for (const char* const name : names) {
    const char* const value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

bool isLanguageless(std::string_view locale) { return locale.empty() || locale == "C" || locale == "POSIX"; }

void addOnce(std::vector<std::string>& languages, std::string_view language) {
  if (isLanguageless(language) || language.find('/') != std::string_view::npos) return;
  if (std::ranges::find(languages, language) == languages.end()) languages.emplace_back(language);
}

// "de_AT.UTF-8@euro" stands for "de_AT", then "de".
void addLocale(std::vector<std::string>& languages, std::string_view locale) {
  locale = locale.substr(0, locale.find_first_of(".@"));
  addOnce(languages, locale);
  addOnce(languages, locale.substr(0, locale.find('_')));
}

}  // namespace

const NSBundle& NSBundle::mainBundle() {
  static const NSBundle bundle(mainResourcePath());
  return bundle;
}

NSBundle::NSBundle(std::string resourcePath) : resourcePath_(std::move(resourcePath)) {
  auto dictionary = dictionaryWithContentsOfFile(stringByAppendingPathComponent(resourcePath_, "Info.plist"));
  if (dictionary) infoDictionary_ = std::move(*dictionary);
}

std::string NSBundle::bundleIdentifier() const {
  const auto* identifier = infoDictionary_.find("CFBundleIdentifier");
  return identifier == nullptr || identifier->asString() == nullptr ? std::string() : *identifier->asString();
}

std::optional<std::string> NSBundle::pathForResource(const std::string& name, const std::string& type) const {
  for (const auto& language : preferredLanguages()) {
    if (auto path = pathForResource(name, type, language + ".lproj")) return path;
  }
  if (auto path = pathForResource(name, type, "Base.lproj")) return path;
  return pathForResource(name, type, "");
}

std::optional<std::string> NSBundle::pathForResource(const std::string& name, const std::string& type,
                                                     const std::string& inDirectory) const {
  const std::string file = type.empty() ? name : name + "." + type;
  const std::string folder = stringByAppendingPathComponent(resourcePath_, inDirectory);
  std::string path = stringByAppendingPathComponent(folder, file);
  return isFile(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::vector<std::string> NSBundle::preferredLanguages() {
  const std::string_view locale = firstOf({"LC_ALL", "LC_MESSAGES", "LANG"});
  std::vector<std::string> languages;
  // A process in the C locale shows untranslated texts whatever LANGUAGE says.
  if (isLanguageless(locale)) return languages;
  std::string_view list = firstOf({"LANGUAGE"});
  if (list.empty()) list = locale;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(':'), list.size());
    addLocale(languages, list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return languages;
}

}  // namespace zelto
