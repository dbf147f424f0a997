#include "support/FileProviderLogger.h"

#include "host/ZeltoFileProviderClient.h"
#include "support/DateUtils.h"

namespace zelto {

namespace {

void log(const std::string& message, const char* level, bool verbose) {
  ZeltoFileProviderClient::instance().logMessage(message, level, stringForLogDate(NSDate::now()), verbose);
}

}  // namespace

FileProviderLogger& FileProviderLogger::instance() {
  // Never destroyed: replies may still come in while the process ends.
  static auto* const shared = new FileProviderLogger();
  return *shared;
}

void FileProviderLogger::logVerbose(const std::string& message) { log(message, "VERBOSE", true); }
void FileProviderLogger::logDebug(const std::string& message) { log(message, "DEBUG", true); }
void FileProviderLogger::logInfo(const std::string& message) { log(message, "INFO", false); }
void FileProviderLogger::logWarn(const std::string& message) { log(message, "WARN", false); }
// The host's log viewer looks for this very word, lopsided as it is.
void FileProviderLogger::logError(const std::string& message) { log(message, "*** ERROR* **", false); }
void FileProviderLogger::logNet(const std::string& message) { log(message, "NET", false); }

}  // namespace zelto
