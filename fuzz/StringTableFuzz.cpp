#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "support/ZeltoLocalise.h"

namespace {

using namespace zelto;

constexpr LocaliseOptions kAllOptions{511};

// A bundle of this process's own, made before the first look at it and removed at its end.
class Bundle {
 public:
  Bundle() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelto-table-XXXXXX").native();
    folder_ = ::mkdtemp(pattern.data());
    std::filesystem::create_directory(folder_ + "/Base.lproj");
    ::setenv("ZELTO_RESOURCES", folder_.c_str(), 1);
  }
  ~Bundle() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  void write(std::string_view table) const {
    std::ofstream(folder_ + "/Base.lproj/Strings.json", std::ios::binary) << table;
  }

 private:
  std::string folder_;
};

// Each text of the table is given without its escapes, and takes any parameter and option.
void checkToken(const std::string& token, const std::string& written) {
  const auto text = ZeltoLocalise::localise(token);
  if (text.empty() || text.size() > written.size() || text.contains("\\n") || text.contains("\\\"")) {
    // A replaced pair may leave another one: a backslash before what was a backslash and an n.
    if (!written.contains("\\\\")) std::abort();
  }
  (void)ZeltoLocalise::localise(token, {{"name", text}, {"n", 3}}, kAllOptions);
}

}  // namespace

// Any file is either refused or gives a table whose texts can be used.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const Bundle bundle;
  bundle.write({reinterpret_cast<const char*>(bytes), size});
  const auto table = ZeltoLocalise::loadStringsForResource("Strings", "json", "Base.lproj");
  if (!table) return 0;
  auto& texts = ZeltoLocalise::instance();
  texts.setOptionAreYouSure("Sure?");
  texts.setOptionContactSysAdmin("Ask.");
  texts.setLocalisedStrings(*table);
  for (const auto& [key, value] : *table) {
    const auto* text = value.asString();
    if (text != nullptr && !text->empty() && !key.name().empty()) checkToken(std::string(key.name()), *text);
  }
  return 0;
}
