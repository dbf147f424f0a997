#pragma once

#include "hostapp/LocalStat.h"
#include "hostapp/ServerBackend.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// An opened file of this machine.
class LocalFile : public BackendFile {
 public:
  LocalFile(std::string path, std::string name, UniqueDescriptor folder, UniqueDescriptor file)
      : path_(std::move(path)), name_(std::move(name)), folder_(std::move(folder)), file_(std::move(file)) {}

  std::expected<BackendEntry, NSError> stat() override;
  std::expected<std::size_t, NSError> readAt(std::span<std::byte> buffer, std::uint64_t offset) override;
  std::expected<std::uint64_t, NSError> copyTo(int descriptor, std::uint64_t offset,
                                               std::uint64_t length) override;

 private:
  std::string path_;
  std::string name_;
  UniqueDescriptor folder_;
  UniqueDescriptor file_;
};

}  // namespace zelto
