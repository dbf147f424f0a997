#pragma once

// The file browser that this compilation is for; ZELTO_BROWSER names its header.
#include ZELTO_BROWSER

// What but one of them call the same.
#ifndef BROWSER_MODULE
#define BROWSER_ASKS_FOR_EMBLEMS 1
#define BROWSER_MODULE(function) BROWSER(module_##function)
#define BROWSER_PLUGIN GTypeModule
#define BROWSER_PLUGIN_FUNCTION(function) g_type_module_##function
#define BROWSER_FILE_ITEMS get_file_items
#define BROWSER_BACKGROUND_ITEMS get_background_items
#endif

namespace zelto::desktop {

using FileInfo = BROWSER_CLASS(FileInfo);
using MenuProvider = BROWSER_CLASS(MenuProvider);
using MenuItem = BROWSER_CLASS(MenuItem);
#if BROWSER_ASKS_FOR_EMBLEMS
using InfoProvider = BROWSER_CLASS(InfoProvider);
using OperationHandle = BROWSER_CLASS(OperationHandle);
using OperationResult = BROWSER_CLASS(OperationResult);
#endif

}  // namespace zelto::desktop
