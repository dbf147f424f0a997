#include "platform/foundation/MimeGlobs.h"

#include <algorithm>
#include <charconv>

#include <fnmatch.h>

namespace zelto {
namespace {

constexpr std::string_view kCaseFlag = ":cs";
constexpr std::string_view kForgetEarlierRules = "__NOGLOBS__";

bool isPlain(std::string_view text) { return text.find_first_of("*?[\\") == std::string_view::npos; }

}  // namespace

std::string lowercased(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

const MimeGlobs::Rule* MimeGlobs::Table::find(std::string_view text, std::string_view lowered) const {
  if (!exact.empty()) {
    if (const auto rule = exact.find(text); rule != exact.end()) return &rule->second;
  }
  const auto rule = folded.find(lowered);
  return rule == folded.end() ? nullptr : &rule->second;
}

void MimeGlobs::add(std::string_view globs2) {
  ++files_;
  while (!globs2.empty()) {
    const std::size_t end = std::min(globs2.find('\n'), globs2.size());
    addLine(globs2.substr(0, end));
    globs2.remove_prefix(std::min(end + 1, globs2.size()));
  }
}

// "WEIGHT:TYPE:PATTERN" or "WEIGHT:TYPE:PATTERN:FLAGS"; anything else is skipped.
void MimeGlobs::addLine(std::string_view line) {
  if (line.starts_with('#')) return;
  const std::size_t first = line.find(':');
  const std::size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
  int weight = 0;
  if (second == std::string_view::npos ||
      std::from_chars(line.data(), line.data() + first, weight).ptr != line.data() + first) {
    return;
  }
  const std::string_view mimeType = line.substr(first + 1, second - first - 1);
  std::string_view pattern = line.substr(second + 1);
  if (pattern == kForgetEarlierRules) return forget(mimeType);
  const bool regardsCase = pattern.ends_with(kCaseFlag);
  if (regardsCase) pattern.remove_suffix(kCaseFlag.size());
  if (!pattern.empty()) addRule(pattern, regardsCase, {lowercased(mimeType), weight, files_});
}

void MimeGlobs::addRule(std::string_view pattern, bool regardsCase, Rule rule) {
  const bool isSuffix = pattern.starts_with("*.") && isPlain(pattern.substr(1));
  if (!isSuffix && !isPlain(pattern)) return globs_.push_back({lowercased(pattern), std::move(rule)});
  const std::string_view text = isSuffix ? pattern.substr(1) : pattern;
  if (isSuffix) longestSuffix_ = std::max(longestSuffix_, text.size());
  Table& table = isSuffix ? suffixes_ : names_;
  auto& rules = regardsCase ? table.exact : table.folded;
  const auto [there, isNew] = rules.try_emplace(regardsCase ? std::string(text) : lowercased(text), rule);
  if (isNew) return;
  const bool overrides = rule.file != there->second.file && rule.weight >= there->second.weight;
  if (overrides || rule.weight > there->second.weight) there->second = std::move(rule);
}

void MimeGlobs::forget(std::string_view mimeType) {
  const auto isForgotten = [&](const Rule& rule) { return rule.file != files_ && rule.mimeType == mimeType; };
  for (auto* rules : {&names_.exact, &names_.folded, &suffixes_.exact, &suffixes_.folded}) {
    std::erase_if(*rules, [&](const auto& entry) { return isForgotten(entry.second); });
  }
  std::erase_if(globs_, [&](const Glob& glob) { return isForgotten(glob.rule); });
}

const std::string* MimeGlobs::mimeTypeForFilename(std::string_view filename) const {
  const std::string lowered = lowercased(filename);
  if (const auto* rule = names_.find(filename, lowered)) return &rule->mimeType;
  if (const auto* rule = bestSuffix(filename, lowered)) return &rule->mimeType;
  return matchingGlob(lowered);
}

const std::string* MimeGlobs::mimeTypeForSuffix(std::string_view suffix) const {
  const auto* rule = suffixes_.find(suffix, suffix);
  return rule == nullptr ? nullptr : &rule->mimeType;
}

const MimeGlobs::Rule* MimeGlobs::bestSuffix(std::string_view filename, std::string_view lowered) const {
  const Rule* best = nullptr;
  const std::size_t earliest = filename.size() - std::min(filename.size(), longestSuffix_);
  for (std::size_t dot = filename.find('.', earliest); dot != std::string_view::npos;
       dot = filename.find('.', dot + 1)) {
    const auto* rule = suffixes_.find(filename.substr(dot), lowered.substr(dot));
    if (rule != nullptr && (best == nullptr || rule->weight > best->weight)) best = rule;
  }
  return best;
}

// Reached only by names without a plain rule, so that listings seldom pay for it.
const std::string* MimeGlobs::matchingGlob(const std::string& lowered) const {
  const Glob* best = nullptr;
  const auto rank = [](const Glob& glob) { return std::pair(glob.rule.weight, glob.pattern.size()); };
  for (const auto& glob : globs_) {
    if (best != nullptr && rank(glob) <= rank(*best)) continue;
    if (::fnmatch(glob.pattern.c_str(), lowered.c_str(), 0) == 0) best = &glob;
  }
  return best == nullptr ? nullptr : &best->rule.mimeType;
}

}  // namespace zelto
