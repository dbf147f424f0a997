#include "model/FileProviderUtils.h"

namespace zelto {

std::optional<UTType> FileProviderUtils::contentTypeForMimeType(const std::optional<std::string>& mimeType,
                                                                bool isDir) {
  if (isDir) return UTType::folder();
  return UTType::typeWithMIMEType(mimeType ? std::string_view(*mimeType) : "application/octet-stream");
}

}  // namespace zelto
