#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// The program's resources: Info.plist and one "LANGUAGE.lproj" folder per language beside "Base.lproj".
// THREAD: any; immutable after construction.
class NSBundle {
 public:
  // The bundle of this process: the folder named by ZELTO_RESOURCES, else "resources" beside the
  // executable, else "../share/zelto/resources" from the executable's folder.
  static const NSBundle& mainBundle();

  explicit NSBundle(std::string resourcePath);

  const std::string& resourcePath() const { return resourcePath_; }
  // "" when the property list has none.
  std::string bundleIdentifier() const;
  // The parsed Info.plist; empty when it is missing or malformed.
  const NSDictionary& infoDictionary() const { return infoDictionary_; }

  // The resource in the folder of the first preferred language that has one, else in Base.lproj, else in
  // the resource folder itself.
  std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const;
  std::optional<std::string> pathForResource(const std::string& name, const std::string& type,
                                             const std::string& inDirectory) const;

  // The user's languages, most preferred first ("de_AT", "de", "en"), from LANGUAGE, LC_ALL, LC_MESSAGES
  // and LANG as the C library orders them.
  static std::vector<std::string> preferredLanguages();

 private:
  std::string resourcePath_;
  NSDictionary infoDictionary_;
};

}  // namespace zelto
