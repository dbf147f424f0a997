#include "platform/foundation/TypeRegistry.h"

#include <algorithm>
#include <cstdlib>

#include "platform/foundation/FileContents.h"
#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/Path.h"

namespace zelto {
namespace {

constexpr std::size_t kMaximumFileBytes = std::size_t{16} << 20;
constexpr std::string_view kSystemTypePrefix = "org.freedesktop.mime.";
constexpr std::string_view kPlainText = "public.plain-text";

template <typename Function>
void forEachLine(std::string_view text, Function function) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (const auto line = text.substr(0, end); !line.empty()) function(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::string contentsOrNothing(const std::string& path) {
  return contentsOfFile(path, kMaximumFileBytes).value_or(std::string());
}

std::vector<std::string> stringsIn(const NSDictionary& dictionary, std::string_view key) {
  std::vector<std::string> strings;
  const auto* value = dictionary.find(key);
  if (value == nullptr || value->asArray() == nullptr) return strings;
  for (const auto& element : *value->asArray()) {
    if (element.asString() != nullptr) strings.push_back(*element.asString());
  }
  return strings;
}

// What every type of a MIME family stands under, whatever the system's data says beside it.
std::string_view familyType(std::string_view mimeType) {
  const std::string_view family = mimeType.substr(0, mimeType.find('/'));
  if (family == "text") return kPlainText;
  if (family == "image") return "public.image";
  if (family == "audio") return "public.audio";
  if (family == "video") return "public.movie";
  if (family == "font") return "public.font";
  return family == "inode" ? "public.item" : "public.data";
}

// Parameters such as "; charset=utf-8" do not count.
std::string normalisedMimeType(std::string_view mimeType) {
  mimeType = mimeType.substr(0, mimeType.find(';'));
  while (mimeType.starts_with(' ')) mimeType.remove_prefix(1);
  while (mimeType.ends_with(' ')) mimeType.remove_suffix(1);
  return lowercased(mimeType);
}

std::string environmentOr(const char* name, std::string otherwise) {
  const char* const value = std::getenv(name);
  return value == nullptr || *value == '\0' ? std::move(otherwise) : value;
}

std::vector<std::string> systemMimeFolders() {
  std::vector<std::string> folders;
  const std::string home = environmentOr("HOME", "/");
  folders.push_back(environmentOr("XDG_DATA_HOME", stringByAppendingPathComponent(home, ".local/share")) +
                    "/mime");
  const std::string list = environmentOr("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(':', start), list.size());
    folders.push_back(stringByAppendingPathComponent(list.substr(start, end - start), "mime"));
    start = end + 1;
  }
  return folders;
}

std::string bundledTable() {
  const auto path = NSBundle::mainBundle().pathForResource("UniformTypes", "json");
  return path ? contentsOrNothing(*path) : std::string();
}

}  // namespace

const TypeRegistry& TypeRegistry::shared() {
  // Never destroyed: types are held by values of any lifetime.
  static const TypeRegistry* const registry = new TypeRegistry(bundledTable(), systemMimeFolders());
  return *registry;
}

TypeRegistry::TypeRegistry(std::string_view table, const std::vector<std::string>& mimeFolders) {
  for (const auto* identifier : {"public.folder", "public.directory", "public.symlink", "public.image"})
    intern(identifier);
  loadTable(table);
  std::ranges::for_each(mimeFolders.rbegin(), mimeFolders.rend(),
                        [this](const std::string& folder) { loadMimeFolder(folder); });
}

void TypeRegistry::loadTable(std::string_view table) {
  const auto parsed = NSJSONSerialization::valueWithString(table);
  const auto* descriptions = parsed ? parsed->asDictionary() : nullptr;
  if (descriptions == nullptr) return;
  for (const auto& [identifier, description] : *descriptions) {
    if (description.asDictionary() != nullptr) addTableType(identifier.name(), *description.asDictionary());
  }
}

// Where two types claim a MIME type or extension, the first in the table has it.
void TypeRegistry::addTableType(std::string_view identifier, const NSDictionary& description) {
  const Identifier type = intern(identifier);
  for (const auto& parent : stringsIn(description, "conformsTo")) addParent(type, intern(parent));
  for (const auto& mimeType : stringsIn(description, "mimeTypes"))
    mimeTypes_.try_emplace(lowercased(mimeType), type);
  for (const auto& name : stringsIn(description, "extensions"))
    extensions_.try_emplace(lowercased(name), type);
}

void TypeRegistry::loadMimeFolder(const std::string& folder) {
  const auto load = [&folder](const char* name) {
    return contentsOrNothing(stringByAppendingPathComponent(folder, name));
  };
  globs_.add(load("globs2"));
  forEachLine(load("types"), [this](std::string_view line) { addSystemType(line); });
  forEachLine(load("aliases"), [this](std::string_view line) { addAlias(line); });
  forEachLine(load("subclasses"), [this](std::string_view line) { addSubclass(line); });
}

void TypeRegistry::addSystemType(std::string_view mimeType) {
  const std::string name = lowercased(mimeType);
  const std::size_t slash = name.find('/');
  if (slash == std::string::npos || mimeTypes_.contains(name)) return;
  std::string identifier = std::string(kSystemTypePrefix) + name;
  identifier[kSystemTypePrefix.size() + slash] = '.';
  const Identifier type = intern(identifier);
  mimeTypes_.emplace(name, type);
  addParent(type, intern(familyType(name)));
}

// "ALIAS TYPE"
void TypeRegistry::addAlias(std::string_view line) {
  const std::size_t space = line.find(' ');
  if (space == std::string_view::npos) return;
  if (const auto* type = typeWithMIMEType(line.substr(space + 1))) {
    mimeTypes_.try_emplace(lowercased(line.substr(0, space)), type);
  }
}

// "TYPE PARENT". The table alone says what its own types conform to.
void TypeRegistry::addSubclass(std::string_view line) {
  const std::size_t space = line.find(' ');
  if (space == std::string_view::npos) return;
  const auto* child = typeWithMIMEType(line.substr(0, space));
  const auto* parent = typeWithMIMEType(line.substr(space + 1));
  if (child != nullptr && parent != nullptr && child->starts_with(kSystemTypePrefix))
    addParent(child, parent);
}

const std::string* TypeRegistry::typeWithIdentifier(std::string_view identifier) const {
  const auto type = types_.find(identifier);
  return type == types_.end() ? nullptr : &type->first;
}

const std::string* TypeRegistry::typeWithMIMEType(std::string_view mimeType) const {
  const auto type = mimeTypes_.find(normalisedMimeType(mimeType));
  return type == mimeTypes_.end() ? nullptr : type->second;
}

const std::string* TypeRegistry::typeWithFilenameExtension(std::string_view extension) const {
  const std::string name = lowercased(extension);
  if (const auto type = extensions_.find(name); type != extensions_.end()) return type->second;
  const auto* mimeType = globs_.mimeTypeForSuffix("." + name);
  return mimeType == nullptr ? nullptr : typeWithMIMEType(*mimeType);
}

bool TypeRegistry::conforms(const std::string& identifier, const std::string& other) const {
  // Types may come from data in which two stand under each other.
  std::vector<Identifier> pending{typeWithIdentifier(identifier)};
  for (std::size_t i = 0; i < pending.size(); ++i) {
    if (pending[i] == nullptr) return false;
    if (*pending[i] == other) return true;
    for (const auto* parent : types_.find(*pending[i])->second.conformsTo) {
      if (std::ranges::find(pending, parent) == pending.end()) pending.push_back(parent);
    }
  }
  return false;
}

TypeRegistry::Identifier TypeRegistry::intern(std::string_view identifier) {
  if (const auto* known = typeWithIdentifier(identifier)) return known;
  return &types_.try_emplace(std::string(identifier)).first->first;
}

void TypeRegistry::addParent(Identifier child, Identifier parent) {
  auto& parents = types_.find(*child)->second.conformsTo;
  if (child != parent && std::ranges::find(parents, parent) == parents.end()) parents.push_back(parent);
}

}  // namespace zelto
