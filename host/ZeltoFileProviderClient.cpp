#include "host/ZeltoFileProviderClient.h"

#include <fmt/format.h>

#include "host/ZeltoFileProviderNotifier.h"
#include "support/FileProviderLogger.h"

namespace zelto {

ZeltoFileProviderClient& ZeltoFileProviderClient::instance() {
  // Never destroyed: replies may still come in while the process ends.
  static auto* const shared = new ZeltoFileProviderClient();
  return *shared;
}

void ZeltoFileProviderClient::start() {
  FileProviderLogger::instance().logInfo("FP[Client] Starting");
  ZeltoFileProviderNotifier::instance().sendStartedListeningNotification();
}

void ZeltoFileProviderClient::disconnect() {
  FileProviderLogger::instance().logInfo("FP[Client] Disconnecting");
  setServer(nullptr);
}

void ZeltoFileProviderClient::updateUseMyFiles(bool useMyFiles, bool useOfflineFiles) {
  FileProviderLogger::instance().logInfo(fmt::format(
      "FP[Client] Update Config (UseMyFiles={:d}, UseOfflineFiles={:d})", useMyFiles, useOfflineFiles));
  useMyFiles_ = useMyFiles;
  useOfflineFiles_ = useOfflineFiles;
}

void ZeltoFileProviderClient::invalidateCache() {
  FileProviderLogger::instance().logInfo("FP[CLIENT] Invalidating cached items");
  cachedShares_.set(nullptr);
  cachedBookmarks_.set(nullptr);
}

void ZeltoFileProviderClient::logMessage(const std::string& message, const std::string& level,
                                         const std::string& date, bool verbose) {
  if (const auto host = server()) host->logMessage(message, level, date, verbose, pid());
}

}  // namespace zelto
