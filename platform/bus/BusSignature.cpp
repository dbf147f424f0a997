#include "platform/bus/BusSignature.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>
#include <unicode/ustring.h>

namespace zelto {

namespace {

constexpr std::size_t kMostArguments = 32;

struct SignatureEntry {
  BusType type;
  std::string_view letters;
};
// In the order of the alternatives of BusArgument.
constexpr SignatureEntry kSignatures[] = {
    {BusType::string, "s"},   {BusType::bytes, "ay"},      {BusType::boolean, "b"},
    {BusType::int32, "i"},    {BusType::uint32, "u"},      {BusType::int64, "x"},
    {BusType::uint64, "t"},   {BusType::real, "d"},        {BusType::descriptor, "h"},
    {BusType::strings, "as"}, {BusType::options, "a{sv}"}, {BusType::byteArrays, "aay"}};
static_assert(std::size(kSignatures) == std::variant_size_v<BusArgument>);

std::optional<std::string> badContent(const BusArgument& argument) {
  if (const auto* text = std::get_if<std::string>(&argument); text != nullptr && !isBusString(*text)) {
    return "is not UTF-8 text";
  }
  if (const auto* texts = std::get_if<std::vector<std::string>>(&argument);
      texts != nullptr && !std::ranges::all_of(*texts, isBusString)) {
    return "has an entry that is not UTF-8 text";
  }
  if (const auto* options = std::get_if<BusOptions>(&argument);
      options != nullptr && !std::ranges::all_of(options->texts, [](const auto& option) {
        return isBusString(option.first) && isBusString(option.second);
      })) {
    return "has an option that is not UTF-8 text";
  }
  if (const auto* descriptor = std::get_if<std::shared_ptr<UniqueDescriptor>>(&argument);
      descriptor != nullptr && (*descriptor == nullptr || !**descriptor)) {
    return "is not an open descriptor";
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<BusType>> typesOfSignature(std::string_view signature) {
  std::vector<BusType> types;
  while (!signature.empty()) {
    const auto* entry = std::ranges::find_if(
        kSignatures, [&](const SignatureEntry& known) { return signature.starts_with(known.letters); });
    if (entry == std::end(kSignatures) || types.size() == kMostArguments) return std::nullopt;
    types.push_back(entry->type);
    signature.remove_prefix(entry->letters.size());
  }
  return types;
}

std::string signatureOfArguments(const BusArguments& arguments) {
  std::string signature;
  for (const BusArgument& argument : arguments) signature += kSignatures[argument.index()].letters;
  return signature;
}

std::optional<std::string> mismatch(std::string_view signature, const BusArguments& arguments) {
  if (!typesOfSignature(signature)) return fmt::format("the signature \"{}\" is not supported", signature);
  if (const std::string actual = signatureOfArguments(arguments); actual != signature) {
    return fmt::format("the arguments are \"{}\", not \"{}\"", actual, signature);
  }
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    if (auto problem = badContent(arguments[index])) {
      return fmt::format("argument {} {}", index + 1, *problem);
    }
  }
  return std::nullopt;
}

bool isBusString(std::string_view text) {
  if (text.find('\0') != std::string_view::npos || !std::in_range<std::int32_t>(text.size())) return false;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(nullptr, 0, nullptr, text.data(), static_cast<std::int32_t>(text.size()), &status);
  return status == U_BUFFER_OVERFLOW_ERROR || U_SUCCESS(status);
}

}  // namespace zelto
