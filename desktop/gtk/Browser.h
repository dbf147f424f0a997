#pragma once

// The file browser that this compilation is for; ZELTO_BROWSER names its header.
#include ZELTO_BROWSER

namespace zelto::desktop {

using FileInfo = BROWSER_CLASS(FileInfo);
using InfoProvider = BROWSER_CLASS(InfoProvider);
using MenuProvider = BROWSER_CLASS(MenuProvider);
using MenuItem = BROWSER_CLASS(MenuItem);
using OperationHandle = BROWSER_CLASS(OperationHandle);
using OperationResult = BROWSER_CLASS(OperationResult);

}  // namespace zelto::desktop
