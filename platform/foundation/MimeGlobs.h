#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zelto {

struct StringHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <typename Value>
using StringMap = std::unordered_map<std::string, Value, StringHash, std::equal_to<>>;

// The rules by which a file's name gives its MIME type ("globs2" of the shared MIME data). Nearly all of
// them are plain names or plain suffixes and are found by hashing.
class MimeGlobs {
 public:
  // Adds the rules of one file; those of a later file take precedence over earlier ones.
  void add(std::string_view globs2);

  // The rule with the greatest weight, then the longest. Nothing when none fits. Valid while this lives.
  const std::string* mimeTypeForFilename(std::string_view filename) const;
  // By the rule for exactly this suffix, which starts with its dot; in lower case.
  const std::string* mimeTypeForSuffix(std::string_view suffix) const;

 private:
  struct Rule {
    std::string mimeType;
    int weight;
    std::size_t file;
  };
  struct Glob {
    std::string pattern;
    Rule rule;
  };
  // Rules for a whole name or a suffix. Those that regard case are looked up first.
  struct Table {
    StringMap<Rule> exact;
    StringMap<Rule> folded;

    const Rule* find(std::string_view text, std::string_view lowered) const;
  };

  void addLine(std::string_view line);
  void addRule(std::string_view pattern, bool regardsCase, Rule rule);
  void forget(std::string_view mimeType);
  const Rule* bestSuffix(std::string_view filename, std::string_view lowered) const;
  const std::string* matchingGlob(const std::string& lowered) const;

  Table names_;
  Table suffixes_;
  std::size_t longestSuffix_ = 0;
  std::vector<Glob> globs_;
  std::size_t files_ = 0;
};

// ASCII letters only, as MIME types and extensions are compared.
std::string lowercased(std::string_view text);

}  // namespace zelto
