#pragma once

#include <string>

namespace zelto {

// Renames within open folders. 0 or the errno value; EEXIST when the new name is taken.
int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to);
int renameReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to);

}  // namespace zelto
