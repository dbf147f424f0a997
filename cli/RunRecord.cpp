#include "cli/RunRecord.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fmt/format.h>

#include "cli/JsonFields.h"
#include "platform/bus/BusAddress.h"
#include "platform/bus/DomainName.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"

namespace zelto::cli {

namespace {

constexpr std::string_view kPrefix = "run-";
constexpr std::string_view kSuffix = ".json";

std::string recordFile(const std::string& domain) {
  return fmt::format("{}/{}{}{}", runtimeDirectory(), kPrefix, domain, kSuffix);
}
std::string busRecordFile() { return runtimeDirectory() + "/bus.json"; }

std::optional<NSDictionary> readObject(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(65536, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  const auto value = NSJSONSerialization::valueWithString(text);
  if (!value || value->asDictionary() == nullptr) return std::nullopt;
  return *value->asDictionary();
}

Outcome writeText(const std::string& path, const std::string& text) {
  const std::string temporary = path + ".new";
  std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
  file << text << '\n';
  file.close();
  if (file && std::rename(temporary.c_str(), path.c_str()) == 0) return {};
  return failure(ExitCode::failed, fmt::format("{} cannot be written: {}", path, std::strerror(errno)));
}

Outcome writeObject(const std::string& path, NSDictionary object) {
  const auto text = NSJSONSerialization::stringWithValue(std::move(object), true);
  if (!text) return failure(ExitCode::failed, path + ": " + text.error().localizedDescription());
  return writeText(path, *text);
}

NSDictionary encoded(const ProcessIdentity& process) {
  return {{"pid", static_cast<std::int64_t>(process.pid)},
          {"started", static_cast<std::int64_t>(process.startTime)},
          {"boot", process.boot}};
}

ProcessIdentity decodedProcess(const NSDictionary& object) {
  return {static_cast<pid_t>(numberField(object, "pid")),
          static_cast<std::uint64_t>(numberField(object, "started")), textField(object, "boot")};
}

std::optional<bool> optionalFlag(const NSDictionary& object, std::string_view key) {
  return object.find(key) == nullptr ? std::nullopt : std::optional(flagField(object, key));
}

void removeFile(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
}

}  // namespace

std::optional<RunRecord> loadRunRecord(const std::string& domain) {
  const auto object = readObject(recordFile(domain));
  if (!object || textField(*object, "domain") != domain || textField(*object, "mountPoint").empty()) {
    return std::nullopt;
  }
  return RunRecord{domain,
                   textField(*object, "folder"),
                   textField(*object, "mountPoint"),
                   flagField(*object, "mountPointMade"),
                   optionalFlag(*object, "myFiles"),
                   optionalFlag(*object, "offlineFiles"),
                   textField(*object, "busAddress"),
                   decodedProcess(objectField(*object, "host")),
                   decodedProcess(objectField(*object, "extension"))};
}

Outcome saveRunRecord(const RunRecord& record) {
  NSDictionary object{{"domain", record.domain},
                      {"folder", record.folder},
                      {"mountPoint", record.mountPoint},
                      {"mountPointMade", record.mountPointMade},
                      {"busAddress", record.busAddress},
                      {"host", encoded(record.host)},
                      {"extension", encoded(record.extension)}};
  if (record.myFiles) object.set("myFiles", *record.myFiles);
  if (record.offlineFiles) object.set("offlineFiles", *record.offlineFiles);
  return writeObject(recordFile(record.domain), std::move(object));
}

void removeRunRecord(const std::string& domain) { removeFile(recordFile(domain)); }

std::vector<std::string> recordedDomains() {
  std::vector<std::string> domains;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(runtimeDirectory(), error)) {
    const std::string name = entry.path().filename().string();
    if (name.size() <= kPrefix.size() + kSuffix.size()) continue;
    if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) continue;
    std::string domain = name.substr(kPrefix.size(), name.size() - kPrefix.size() - kSuffix.size());
    if (isDomainName(domain)) domains.push_back(std::move(domain));
  }
  std::ranges::sort(domains);
  return domains;
}

std::optional<BusRecord> loadBusRecord() {
  const auto object = readObject(busRecordFile());
  if (!object) return std::nullopt;
  return BusRecord{textField(*object, "address"), decodedProcess(objectField(*object, "process"))};
}

Outcome saveBusRecord(const BusRecord& record) {
  auto saved =
      writeObject(busRecordFile(), {{"address", record.address}, {"process", encoded(record.process)}});
  return saved ? writeText(busAddressFile(), record.address) : saved;
}

void removeBusRecord() {
  removeFile(busAddressFile());
  removeFile(busRecordFile());
  removeFile(runtimeDirectory() + "/bus");
}

std::string logFile(const std::string& domain) { return fmt::format("{}/log/{}.log", dataHome(), domain); }

std::string outputFile(const std::string& program, const std::string& domain) {
  return fmt::format("{}/log/{}-{}.out", dataHome(), domain, program);
}

}  // namespace zelto::cli
