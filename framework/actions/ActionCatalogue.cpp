#include "framework/actions/ActionCatalogue.h"

#include <algorithm>
#include <expected>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace zelto {

namespace {

// "" for none.
std::string stringAt(const NSDictionary& dictionary, std::string_view key) {
  const auto* const value = dictionary.find(key);
  return value != nullptr && value->asString() != nullptr ? *value->asString() : std::string();
}

// Empty for none.
NSDictionary dictionaryAt(const NSDictionary& dictionary, std::string_view key) {
  const auto* const value = dictionary.find(key);
  return value != nullptr && value->asDictionary() != nullptr ? *value->asDictionary() : NSDictionary();
}

// The dictionaries in the array; an empty one for an element that is none.
std::vector<NSDictionary> entriesAt(const NSDictionary& dictionary, std::string_view key) {
  const auto* const value = dictionary.find(key);
  const auto* const array = value != nullptr ? value->asArray() : nullptr;
  std::vector<NSDictionary> result;
  if (array == nullptr) return result;
  for (const auto& element : *array) {
    result.push_back(element.asDictionary() != nullptr ? *element.asDictionary() : NSDictionary());
  }
  return result;
}

std::string ruleMessage(const PredicateProblem& problem) {
  return fmt::format("has a rule that cannot be used, at byte {}: {}", problem.position, problem.message);
}

// Reads the property list's entries, with what they refer to.
class EntryReader {
 public:
  template <typename Made>
  using Result = std::expected<Made, std::string>;

  EntryReader(const NSBundle& bundle, const ActionCatalogue::Report& report)
      : bundle_(bundle), report_(report), texts_(bundle) {}

  // What is made of the entries: of all that can be used, one of each identifier.
  template <typename Made, typename Make>
  std::vector<Made> read(const NSDictionary& parent, std::string_view key, std::string_view identifierKey,
                         Make make) const {
    std::vector<Made> result;
    std::vector<std::string> identifiers;
    for (const auto& entry : entriesAt(parent, key)) {
      auto identifier = stringAt(entry, identifierKey);
      const auto problem = problemWith(identifier, identifiers);
      Result<Made> made = problem ? Result<Made>(std::unexpected(*problem)) : make(entry, identifier);
      if (made) {
        result.push_back(*std::move(made));
        identifiers.push_back(std::move(identifier));
      } else {
        report_(fmt::format("{}: an entry is left out: {} {}", key, identifier, made.error()));
      }
    }
    return result;
  }

  // A token without a text is shown as it is.
  std::string text(const std::string& token) const {
    if (auto found = texts_.text(token)) return *std::move(found);
    report_("no text for " + token);
    return token;
  }

  // The path of the picture that a type has.
  Result<std::string> picture(const std::string& type) const {
    const auto file = iconFile(type);
    if (file.empty()) return std::unexpected("has a picture of a type that is not declared: " + type);
    if (auto path = bundle_.pathForResource(file, "")) return *std::move(path);
    return std::unexpected("has a picture that is missing: " + file);
  }

 private:
  static std::optional<std::string> problemWith(const std::string& identifier,
                                                const std::vector<std::string>& others) {
    if (identifier.empty()) return "it has no identifier";
    if (std::ranges::find(others, identifier) != others.end()) return "is there already";
    return std::nullopt;
  }

  // "" where no exported type has this identifier and an icon.
  std::string iconFile(const std::string& type) const {
    for (const auto& declared : entriesAt(bundle_.infoDictionary(), "UTExportedTypeDeclarations")) {
      if (stringAt(declared, "UTTypeIdentifier") == type) return stringAt(declared, "UTTypeIconFile");
    }
    return {};
  }

  const NSBundle& bundle_;
  const ActionCatalogue::Report& report_;
  const StringTable texts_;
};

}  // namespace

ActionCatalogue::ActionCatalogue(const NSBundle& bundle, const Report& report) {
  const EntryReader reader(bundle, report);
  const auto extension = dictionaryAt(bundle.infoDictionary(), "NSExtension");
  offers_ = reader.read<Offer>(
      extension, "NSExtensionFileProviderActions", "NSExtensionFileProviderActionIdentifier",
      [&](const NSDictionary& entry, const std::string& identifier) -> EntryReader::Result<Offer> {
        const auto title = stringAt(entry, "NSExtensionFileProviderActionName");
        if (title.empty()) return std::unexpected("has no title");
        auto rule = ActionPredicate::parse(stringAt(entry, "NSExtensionFileProviderActionActivationRule"));
        if (!rule) return std::unexpected(ruleMessage(rule.error()));
        return Offer{{identifier, reader.text(title)}, *std::move(rule)};
      });
  decorations_ = reader.read<ItemDecoration>(
      extension, "NSFileProviderDecorations", "Identifier",
      [&](const NSDictionary& entry, const std::string& identifier) -> EntryReader::Result<ItemDecoration> {
        const auto label = stringAt(entry, "Label");
        auto category = stringAt(entry, "Category");
        if (label.empty() || category.empty()) return std::unexpected("has no label or no category");
        auto picture = reader.picture(stringAt(entry, "BadgeImageType"));
        if (!picture) return std::unexpected(std::move(picture.error()));
        return ItemDecoration{identifier, *std::move(picture), reader.text(label), std::move(category)};
      });
}

std::vector<ItemAction> ActionCatalogue::actions() const {
  std::vector<ItemAction> result;
  for (const auto& offer : offers_) result.push_back(offer.action);
  return result;
}

std::vector<ItemAction> ActionCatalogue::actionsFor(const std::vector<NSDictionary>& userInfos) const {
  std::vector<ItemAction> result;
  for (const auto& offer : offers_) {
    if (offer.rule.evaluate(userInfos)) result.push_back(offer.action);
  }
  return result;
}

const ItemDecoration* ActionCatalogue::decoration(const std::string& identifier) const {
  const auto found = std::ranges::find(decorations_, identifier, &ItemDecoration::identifier);
  return found != decorations_.end() ? &*found : nullptr;
}

}  // namespace zelto
