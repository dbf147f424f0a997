#pragma once

#include <string>
#include <string_view>

namespace zelto {

// The extension's only log. It keeps nothing: each finished message is stamped with the local time and
// handed to the host application; with no host connected it is lost.
// THREAD: any. Returns at once.
class FileProviderLogger {
 public:
  static FileProviderLogger& instance();

  void logVerbose(const std::string& message);
  void logDebug(const std::string& message);
  void logInfo(const std::string& message);
  void logWarn(const std::string& message);
  void logError(const std::string& message);
  void logNet(const std::string& message);

 private:
  FileProviderLogger() = default;
};

}  // namespace zelto
