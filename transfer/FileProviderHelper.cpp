#include "transfer/FileProviderHelper.h"

namespace zelto {

FileProviderHelper& FileProviderHelper::instance() {
  static auto* const helper = new FileProviderHelper();
  return *helper;
}

}  // namespace zelto
