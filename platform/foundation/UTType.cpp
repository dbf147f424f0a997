#include "platform/foundation/UTType.h"

#include "platform/foundation/TypeRegistry.h"

namespace zelto {

UTType UTType::folder() { return UTType(TypeRegistry::shared().typeWithIdentifier("public.folder")); }

UTType UTType::directory() { return UTType(TypeRegistry::shared().typeWithIdentifier("public.directory")); }

UTType UTType::symbolicLink() { return UTType(TypeRegistry::shared().typeWithIdentifier("public.symlink")); }

UTType UTType::image() { return UTType(TypeRegistry::shared().typeWithIdentifier("public.image")); }

std::optional<UTType> UTType::typeWithMIMEType(std::string_view mimeType) {
  const auto* type = TypeRegistry::shared().typeWithMIMEType(mimeType);
  return type == nullptr ? std::nullopt : std::optional(UTType(type));
}

std::optional<UTType> UTType::typeWithFilenameExtension(std::string_view extension) {
  const auto* type = TypeRegistry::shared().typeWithFilenameExtension(extension);
  return type == nullptr ? std::nullopt : std::optional(UTType(type));
}

bool UTType::conformsTo(const UTType& other) const {
  return identifier_ == other.identifier_ ||
         TypeRegistry::shared().conforms(*identifier_, *other.identifier_);
}

std::string mimeTypeForFilename(std::string_view filename) {
  const auto* mimeType = TypeRegistry::shared().globs().mimeTypeForFilename(filename);
  return mimeType == nullptr ? "application/octet-stream" : *mimeType;
}

}  // namespace zelto
