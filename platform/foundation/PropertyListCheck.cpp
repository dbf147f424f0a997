#include "platform/foundation/PropertyListCheck.h"

#include <string_view>

#include "platform/foundation/BinaryPropertyListCheck.h"

namespace zelto {
namespace {

constexpr std::size_t kMaximumXmlDepth = 128;

// Walks the markup of an XML property list and follows the nesting of its containers.
class XmlNesting {
 public:
  explicit XmlNesting(std::string_view text) : rest_(text) {}

  std::optional<std::string> problem() {
    while (true) {
      const std::size_t start = rest_.find('<');
      if (start == std::string_view::npos) return std::nullopt;
      rest_.remove_prefix(start);
      if (auto found = problemInMarkup()) return found;
    }
  }

 private:
  std::optional<std::string> problemInMarkup() {
    if (rest_.starts_with("<!--")) return skipPast("-->", 4);
    if (rest_.starts_with("<![CDATA[")) return skipPast("]]>", 9);
    const bool declares = rest_.starts_with("<?") || rest_.starts_with("<!");
    // The library reads quotes in declarations in its own way, so that they could hide an end tag.
    if (declares && depth_ > 0) return "it has a declaration among its values";
    if (rest_.starts_with("<?")) return skipPast("?>", 2);
    const std::string_view tag = rest_.substr(0, rest_.find('>'));
    // Entities of the document's own could hold any markup.
    if (declares && tag.find('[') != std::string_view::npos) return "it defines entities";
    follow(tag);
    if (depth_ > kMaximumXmlDepth) return "it is nested too deeply";
    return skipPast(">", 1);
  }

  void follow(std::string_view tag) {
    const bool closes = tag.starts_with("</");
    const std::string_view name = tag.substr(closes ? 2 : 1);
    if (!name.starts_with("dict") && !name.starts_with("array")) return;
    if (closes && depth_ > 0) --depth_;
    if (!closes && !tag.ends_with('/')) ++depth_;
  }

  std::optional<std::string> skipPast(std::string_view end, std::size_t from) {
    const std::size_t found = rest_.find(end, from);
    if (found == std::string_view::npos) return "its markup is not complete";
    rest_.remove_prefix(found + end.size());
    return std::nullopt;
  }

  std::string_view rest_;
  std::size_t depth_ = 0;
};

}  // namespace

std::optional<std::string> problemInPropertyList(std::span<const std::byte> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return text.starts_with("bplist") ? BinaryPropertyListCheck(bytes).problem() : XmlNesting(text).problem();
}

}  // namespace zelto
