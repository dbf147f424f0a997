// The logger without a host application behind it: lines are made and forgotten.

#include "support/FileProviderLogger.h"

namespace zelto {

FileProviderLogger& FileProviderLogger::instance() {
  static auto* const shared = new FileProviderLogger();
  return *shared;
}

void FileProviderLogger::logVerbose(const std::string&) {}
void FileProviderLogger::logDebug(const std::string&) {}
void FileProviderLogger::logInfo(const std::string&) {}
void FileProviderLogger::logWarn(const std::string&) {}
void FileProviderLogger::logError(const std::string&) {}
void FileProviderLogger::logNet(const std::string&) {}

}  // namespace zelto
