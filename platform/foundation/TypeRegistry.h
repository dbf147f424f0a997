#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/MimeGlobs.h"
#include "platform/foundation/PropertyList.h"

namespace zelto {

// All uniform types: those of a table, and one for each MIME type of the system that the table lacks.
// THREAD: any, once it is made; nothing in it changes then, and its identifiers stay where they are.
class TypeRegistry {
 public:
  // From the bundle's table and the system's shared MIME data, loaded on the first call.
  static const TypeRegistry& shared();

  // The table as JSON text; folders of shared MIME data, the most preferred first. What is missing or
  // malformed is left out.
  TypeRegistry(std::string_view table, const std::vector<std::string>& mimeFolders);
  TypeRegistry(const TypeRegistry&) = delete;
  TypeRegistry& operator=(const TypeRegistry&) = delete;

  // Each gives an identifier that lives as long as the registry, or null for an unknown type.
  const std::string* typeWithIdentifier(std::string_view identifier) const;
  const std::string* typeWithMIMEType(std::string_view mimeType) const;
  const std::string* typeWithFilenameExtension(std::string_view extension) const;
  bool conforms(const std::string& identifier, const std::string& other) const;
  const MimeGlobs& globs() const { return globs_; }

 private:
  using Identifier = const std::string*;
  struct Type {
    std::vector<Identifier> conformsTo;
  };

  void loadTable(std::string_view table);
  void addTableType(std::string_view identifier, const NSDictionary& description);
  void loadMimeFolder(const std::string& folder);
  void addSystemType(std::string_view mimeType);
  void addAlias(std::string_view line);
  void addSubclass(std::string_view line);
  Identifier intern(std::string_view identifier);
  void addParent(Identifier child, Identifier parent);

  // Nodes of the map stay in place, so that a key serves as the identifier of all.
  StringMap<Type> types_;
  StringMap<Identifier> mimeTypes_;
  StringMap<Identifier> extensions_;
  MimeGlobs globs_;
};

}  // namespace zelto
