#include "hostapp/TransferFile.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include "hostapp/BackendErrors.h"
#include "hostapp/BeneathFolder.h"

namespace zelto {

namespace {

std::string newName() {
  uuid_t uuid;
  std::array<char, UUID_STR_LEN> text{};
  ::uuid_generate_random(uuid);
  ::uuid_unparse_upper(uuid, text.data());
  return text.data();
}

bool isTransferName(const std::string& name) {
  uuid_t uuid;
  return ::uuid_parse(name.c_str(), uuid) == 0;
}

}  // namespace

std::expected<TransferFile, NSError> TransferFile::make(const std::string& directory,
                                                        std::shared_ptr<HostStore> store) {
  const auto name = newName();
  store->addTransfer(name);
  TransferFile file(directory, name, std::move(store));
  const auto path = file.url().path();
  file.descriptor_.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.descriptor_) return std::unexpected(backendError(errno, path));
  return file;
}

TransferFile::~TransferFile() {
  if (!store_) return;
  ::unlink(url().path().c_str());
  store_->removeTransfer(name_);
}

void TransferFile::handedOver() { std::exchange(store_, nullptr)->removeTransfer(name_); }

void removeLeftTransfers(const std::string& directory, HostStore& store) {
  for (const auto& name : store.transfers()) {
    if (isTransferName(name)) ::unlink((directory + "/" + name).c_str());
    store.removeTransfer(name);
  }
}

}  // namespace zelto
