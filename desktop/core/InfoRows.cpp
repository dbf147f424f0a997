#include "desktop/core/InfoRows.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace zelto::desktop {
namespace {

struct Word {
  std::string_view word;
  const char* text;
};
constexpr std::array kStates{Word{"current", "As on the server"},
                             Word{"pending", "Changed here, will be sent"},
                             Word{"uploading", "Is being sent"},
                             Word{"waiting", "Changed here, waits for another change"},
                             Word{"failed", "Changed here, could not be sent"},
                             Word{"local", "Only on this computer"}};
constexpr std::array kContents{Word{"none", "On the server"}, Word{"partial", "Partly on this computer"},
                               Word{"full", "On this computer"}};

// A word that is not known here is shown as it is.
std::string textOf(const auto& words, const std::string& word) {
  const auto* const found = std::ranges::find(words, word, &Word::word);
  return found != words.end() ? found->text : word;
}

std::string labelsOf(const ItemState& state, const std::vector<Badge>& badges) {
  std::string labels;
  for (const std::string& decoration : state.decorations) {
    const auto badge = std::ranges::find(badges, decoration, &Badge::identifier);
    if (badge == badges.end() || badge->label.empty()) continue;
    if (!labels.empty()) labels += "\n";
    labels += badge->label;
  }
  return labels;
}

}  // namespace

std::vector<InfoRow> rowsOf(const ItemState& state, const std::vector<Badge>& badges, bool isFolder) {
  std::vector<InfoRow> rows;
  if (!state.known) return rows;
  const auto add = [&](const char* name, std::string value) {
    if (!value.empty()) rows.push_back({name, std::move(value)});
  };
  add("State", textOf(kStates, state.state));
  add("Reason", state.reason);
  if (!isFolder) add("Content", textOf(kContents, state.materialised));
  add("Marks", labelsOf(state, badges));
  return rows;
}

}  // namespace zelto::desktop
