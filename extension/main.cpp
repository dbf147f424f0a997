#include "platform/fileprovider/NSExtensionMain.h"

int main(int argc, char** argv) { return zelto::NSExtensionMain(argc, argv); }
