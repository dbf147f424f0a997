#include <string_view>
#include <utility>

#include "model/FileProviderUtils.h"

namespace zelto {

std::string FileProviderUtils::stringForCapabilities(NSFileProviderItemCapabilities capabilities) {
  using enum NSFileProviderItemCapabilities;
  static constexpr std::pair<NSFileProviderItemCapabilities, std::string_view> kWords[] = {
      {allowsDeleting, "Del"},      {allowsEvicting, "Evict"},           {allowsRenaming, "Rename"},
      {allowsTrashing, "Trash"},    {allowsReparenting, "Move"},         {allowsWriting, "+Items"},
      {allowsReading, "Enumerate"}, {allowsExcludingFromSync, "Exclude"}};
  std::string text;
  // Reading and writing show twice: as they matter for a file, and as for a folder.
  if (contains(capabilities, allowsReading)) text += 'r';
  if (contains(capabilities, allowsWriting)) text += 'w';
  for (const auto& [bit, word] : kWords) {
    if (!contains(capabilities, bit)) continue;
    if (!text.empty()) text += ',';
    text += word;
  }
  return text;
}

std::string FileProviderUtils::stringForFileSystemFlags(NSFileProviderFileSystemFlags flags) {
  using enum NSFileProviderFileSystemFlags;
  static constexpr std::pair<NSFileProviderFileSystemFlags, std::string_view> kTexts[] = {
      {userReadable, "r"},
      {userWritable, "w"},
      {userExecutable, "x"},
      {hidden, "[h]"},
      {pathExtensionHidden, "[exth]"}};
  std::string text;
  for (const auto& [bit, part] : kTexts) {
    if (contains(flags, bit)) text += part;
  }
  return text;
}

}  // namespace zelto
