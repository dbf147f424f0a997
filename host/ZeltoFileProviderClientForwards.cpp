// Operations that go to the host as they are.
#include "host/ZeltoFileProviderClient.h"

namespace zelto {

void ZeltoFileProviderClient::showCustomFieldsForIdentifier(const std::string& identifier) {
  if (const auto host = server()) host->showCustomFieldsForPath(identifier);
}

void ZeltoFileProviderClient::openWithOfficeOnlineForPath(const std::string& path) {
  if (const auto host = server()) host->openWithOfficeOnlineForPath(path);
}

void ZeltoFileProviderClient::openWithOffice365ForPath(const std::string& path) {
  if (const auto host = server()) host->openWithOffice365ForPath(path);
}

void ZeltoFileProviderClient::makeAvailableOfflineForPath(const std::string& path) {
  if (const auto host = server()) host->makeAvailableOfflineForPath(path);
}

void ZeltoFileProviderClient::removeFromOfflineFilesForPath(const std::string& path) {
  if (const auto host = server()) host->removeFromOfflineFilesForPath(path);
}

void ZeltoFileProviderClient::refreshMyFiles() {
  if (const auto host = server()) host->refreshMyFiles();
}

void ZeltoFileProviderClient::refreshDirectoryForPath(const std::string& path, bool expireRemoteCache) {
  if (const auto host = server()) host->refreshDirectoryForPath(path, expireRemoteCache);
}

void ZeltoFileProviderClient::addBookmarkForPath(const std::string& path) {
  if (const auto host = server()) host->addBookmarkForPath(path);
}

void ZeltoFileProviderClient::removeBookmarkForPath(const std::string& path) {
  if (const auto host = server()) host->removeBookmarkForPath(path);
}

void ZeltoFileProviderClient::showCheckoutStatusForPath(const std::string& path) {
  if (const auto host = server()) host->showCheckoutStatusForPath(path);
}

void ZeltoFileProviderClient::checkInFileAtPath(const std::string& path) {
  if (const auto host = server()) host->checkInFileAtPath(path);
}

void ZeltoFileProviderClient::checkOutFileAtPath(const std::string& path) {
  if (const auto host = server()) host->checkOutFileAtPath(path);
}

void ZeltoFileProviderClient::thumbnailForPath(const std::string& path, ThumbnailReply completion) {
  if (const auto host = server()) host->thumbnailForPath(path, std::move(completion));
}

std::shared_ptr<NSProgress> ZeltoFileProviderClient::deleteItemWithPath(const std::string& path,
                                                                        ErrorReply completionHandler) {
  const auto host = server();
  return host ? host->deleteItemWithPath(path, std::move(completionHandler)) : NSProgress::create();
}

}  // namespace zelto
