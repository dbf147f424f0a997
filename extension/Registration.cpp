// Part of the program rather than of the library, where a linker would drop an object that nobody names.
#include "extension/FileProviderExtension.h"
#include "platform/fileprovider/NSExtensionMain.h"

namespace zelto {

namespace {

const NSClassRegistry::Registration kRegistration("FileProviderExtension",
                                                  [](const NSFileProviderDomain& domain) {
                                                    return std::make_shared<FileProviderExtension>(domain);
                                                  });

}  // namespace

}  // namespace zelto
