#pragma once

#include <string>
#include <vector>

namespace zelto {

class FileProviderItem;

// Which badges an item carries. The identifiers are those of the decorations in the bundle's property list.
// THREAD: any; immutable.
class FileProviderDecorations {
 public:
  static const FileProviderDecorations& manager();

  // The bundle's identifier and a dot.
  const std::string& prefix() const { return prefix_; }
  const std::string& offlineShareIdentifier() const { return offlineShareIdentifier_; }
  const std::string& bookmarkIdentifier() const { return bookmarkIdentifier_; }
  const std::string& checkoutGreenIdentifier() const { return checkoutGreenIdentifier_; }
  const std::string& checkoutAmberIdentifier() const { return checkoutAmberIdentifier_; }
  const std::string& checkoutRedIdentifier() const { return checkoutRedIdentifier_; }

  // In the order in which the badges are drawn. One that two users have checked out has a badge for each.
  std::vector<std::string> decorationsForFileProviderItem(const FileProviderItem& item) const;

 private:
  FileProviderDecorations();

  const std::string prefix_;
  const std::string offlineShareIdentifier_ = prefix_ + "offlineShare";
  const std::string bookmarkIdentifier_ = prefix_ + "bookmark";
  const std::string checkoutGreenIdentifier_ = prefix_ + "checkoutGreen";
  const std::string checkoutAmberIdentifier_ = prefix_ + "checkoutAmber";
  const std::string checkoutRedIdentifier_ = prefix_ + "checkoutRed";
};

}  // namespace zelto
