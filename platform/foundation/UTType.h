#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// A uniform type: an identifier and what it conforms to. The types and their conformance come from a
// table in the bundle ("UniformTypes.json"); MIME types and extensions that the table lacks are taken
// from the system's shared MIME data, each then a type "org.freedesktop.mime.TYPE.SUBTYPE" of its own.
// THREAD: any.
class UTType {
 public:
  static UTType folder();        // public.folder
  static UTType directory();     // public.directory
  static UTType symbolicLink();  // public.symlink
  static UTType image();         // public.image
  // Nothing for a type that neither table nor system knows. MIME types compare without regard to case.
  static std::optional<UTType> typeWithMIMEType(std::string_view mimeType);
  // The extension without its dot; without regard to case.
  static std::optional<UTType> typeWithFilenameExtension(std::string_view extension);

  const std::string& identifier() const { return *identifier_; }
  // True for the type itself and for everything that it stands under, directly or not.
  bool conformsTo(const UTType& other) const;

  friend bool operator==(const UTType& a, const UTType& b) { return *a.identifier_ == *b.identifier_; }

 private:
  explicit UTType(const std::string* identifier) : identifier_(identifier) {}

  // Interned for the life of the process: every listed item holds a type.
  const std::string* identifier_;
};

// The MIME type of a file by its name alone (glob rules of the shared MIME data, longest match first);
// "application/octet-stream" when no rule fits.
std::string mimeTypeForFilename(std::string_view filename);

}  // namespace zelto
