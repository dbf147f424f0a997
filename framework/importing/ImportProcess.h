#pragma once

#include <string>

#include "platform/fileprovider/NSFileProviderReplicatedExtension.h"

namespace zelto {

// What the process is told that brings one folder to the server, for a domain that another process serves.
struct ImportArguments {
  std::string source;
  std::string destination;  // the identifier of a folder on the server
  bool singly = false;
};

// The main routine of such a process, beside the one that serves the mount: the extension's import may stand
// still for ever and take its queue with it, so it gets an instance of its own that can be thrown away. Says
// on standard output how far it is (ImportReport); ends when standard input is closed, as it is when the
// process that started it is gone. BLOCKS: until the import has ended. Gives the exit code; does not come
// back when it starts anew.
int runImport(const NSFileProviderDomain& domain, const std::string& principalClass,
              const std::string& documentGroup, const ImportArguments& arguments);

// The folder for what is handed to the extension, in the group directory.
std::string importFolder(const std::string& groupDirectory, const std::string& domain);

}  // namespace zelto
