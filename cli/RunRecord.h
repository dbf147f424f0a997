#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/Outcome.h"
#include "cli/ProcessIdentity.h"

namespace zelto::cli {

// What `up` remembers of a running domain, so that `down` and a later `up` find everything again, also
// after a crash. One file per domain in the runtime directory.
struct RunRecord {
  std::string domain = {};
  std::string folder = {};
  std::string mountPoint = {};
  bool mountPointMade = false;
  std::optional<bool> myFiles = {};
  std::optional<bool> offlineFiles = {};
  std::string busAddress = {};
  ProcessIdentity host = {};
  ProcessIdentity extension = {};
};
// The message bus that `up` has started, when there was none.
struct BusRecord {
  std::string address;
  ProcessIdentity process;
};

std::optional<RunRecord> loadRunRecord(const std::string& domain);
Outcome saveRunRecord(const RunRecord& record);
void removeRunRecord(const std::string& domain);
// The domains with a record, in alphabetical order.
std::vector<std::string> recordedDomains();

std::optional<BusRecord> loadBusRecord();
// Also leaves the address where SessionBus::connect() looks for it.
Outcome saveBusRecord(const BusRecord& record);
void removeBusRecord();

// Where the host writes the log, and where the output of the programs themselves goes.
std::string logFile(const std::string& domain);
std::string outputFile(const std::string& program, const std::string& domain);

}  // namespace zelto::cli
