#pragma once

#include <expected>
#include <optional>
#include <string>

#include "platform/foundation/NSError.h"
#include "platform/foundation/UniqueDescriptor.h"

namespace zelto {

// The files in a replica's directory.
struct ReplicaFiles {
  std::string directory;

  std::string database() const { return directory + "/replica.db"; }
  std::string lock() const { return directory + "/lock"; }
  std::string content() const { return directory + "/content"; }
  std::string local() const { return directory + "/local"; }
  std::string localLog() const { return directory + "/local.log"; }

  // Makes the directories where they are missing.
  std::optional<NSError> make() const;
  // Holds the replica for this process for as long as the descriptor is open.
  std::expected<UniqueDescriptor, NSError> lockForThisProcess() const;
  // Renames the database and what belongs to it (an earlier one set aside is lost). Connections that are
  // open go on with the renamed file.
  void setDatabaseAside() const;
};

// The number that the system chose when it started; "" when it cannot be read.
std::string currentBootId();

// One line on standard error, where this process's service keeps its log.
void reportLine(const std::string& line);

NSError posixError(const std::string& what, int code);

}  // namespace zelto
