// The log of local changes as an earlier process or a failing disk may have left it: any file, records in a
// batch whose digest is right, and single entries. The first byte chooses.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

#include "framework/replica/ByteRecord.h"
#include "framework/replica/Digest.h"
#include "framework/replica/LocalLog.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {
namespace {

constexpr std::string_view kMagic = "zelto-local-3\n";

// What is read can be written and read again.
void expectKept(const LocalEntry& entry) {
  const auto again = LocalEntry::decoded(entry.encoded());
  const bool same = again && again->inode == entry.inode && again->name == entry.name &&
                    again->attempt == entry.attempt && again->removed == entry.removed;
  if (!same) std::abort();
}

void fuzzFile(std::string_view bytes) {
  static const UniqueDescriptor file(::memfd_create("log", MFD_CLOEXEC));
  if (::ftruncate(file.get(), 0) != 0) return;
  if (::pwrite(file.get(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return;
  const auto entries = LocalLog("/proc/self/fd/" + std::to_string(file.get())).read();
  if (!entries) std::abort();
  for (const LocalEntry& entry : *entries) expectKept(entry);
}

void fuzzBatch(std::string_view records) {
  std::string bytes(kMagic);
  putPlain(bytes, std::uint64_t{records.size()});
  putPlain(bytes, digestOfBytes(records));
  bytes += records;
  fuzzFile(bytes);
}

void fuzzEntry(std::string_view bytes) {
  if (const auto entry = LocalEntry::decoded(bytes)) expectKept(*entry);
}

}  // namespace
}  // namespace zelto

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  if (data[0] % 3 == 0) zelto::fuzzFile(bytes);
  if (data[0] % 3 == 1) zelto::fuzzBatch(bytes);
  if (data[0] % 3 == 2) zelto::fuzzEntry(bytes);
  return 0;
}
