#pragma once

namespace zelto {

// What the host application may ask of the extension.
class ZeltoFileProviderClientInterface {
 public:
  virtual ~ZeltoFileProviderClientInterface() = default;

  // Lets go of the host: until it connects again nothing is sent to it.
  virtual void disconnect() = 0;
  virtual void updateUseMyFiles(bool useMyFiles, bool useOfflineFiles) = 0;
};

}  // namespace zelto
