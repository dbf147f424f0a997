#include "framework/actions/PredicateLexer.h"

#include <array>
#include <charconv>
#include <utility>

#include <fmt/format.h>

namespace zelto {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool beginsWord(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The longer ones first.
constexpr std::array<std::string_view, 17> kSymbols{"==", "!=", "<>", "<=", "=<", ">=", "=>", "&&", "||",
                                                    "=",  "<",  ">",  "!",  "(",  ")",  ",",  "."};

std::optional<PropertyListValue> numberValue(std::string_view text) {
  const auto* const end = text.data() + text.size();
  if (std::int64_t integer = 0; !text.contains('.')) {
    const auto [rest, error] = std::from_chars(text.data(), end, integer);
    return error == std::errc() && rest == end ? std::optional<PropertyListValue>(integer) : std::nullopt;
  }
  double real = 0;
  const auto [rest, error] = std::from_chars(text.data(), end, real);
  return error == std::errc() && rest == end ? std::optional<PropertyListValue>(real) : std::nullopt;
}

// What a character after a backslash stands for.
std::optional<char> escaped(char c) {
  switch (c) {
    case '"':
    case '\'':
    case '\\':
      return c;
    case 'n':
      return '\n';
    case 't':
      return '\t';
    default:
      return std::nullopt;
  }
}

}  // namespace

std::unexpected<PredicateProblem> PredicateLexer::problem(std::string message) const {
  return std::unexpected(PredicateProblem{position_, std::move(message)});
}

PredicateLexer::Result PredicateLexer::next() {
  while (position_ < text_.size() && isBlank(text_[position_])) ++position_;
  if (position_ == text_.size()) return PredicateToken{.position = position_};
  const char first = text_[position_];
  const char second = position_ + 1 < text_.size() ? text_[position_ + 1] : '\0';
  if (beginsWord(first)) return word(PredicateToken::Kind::word, position_);
  if (first == '$' && beginsWord(second)) return word(PredicateToken::Kind::variable, position_ + 1);
  if (first == '@' && beginsWord(second)) return word(PredicateToken::Kind::aggregate, position_ + 1);
  if (isDigit(first) || (first == '-' && isDigit(second))) return number();
  if (first == '"' || first == '\'') return string();
  return symbol();
}

PredicateLexer::Result PredicateLexer::word(PredicateToken::Kind kind, std::size_t start) {
  std::size_t end = start;
  while (end < text_.size() && (beginsWord(text_[end]) || isDigit(text_[end]))) ++end;
  return PredicateToken{kind, std::string(text_.substr(start, end - start)), std::nullopt,
                        std::exchange(position_, end)};
}

PredicateLexer::Result PredicateLexer::number() {
  std::size_t end = position_ + 1;
  while (end < text_.size() && (isDigit(text_[end]) || text_[end] == '.')) ++end;
  const auto text = text_.substr(position_, end - position_);
  auto value = numberValue(text);
  if (!value) return problem(fmt::format("{} is not a number that can be used", text));
  return PredicateToken{PredicateToken::Kind::literal, std::string(text), std::move(value),
                        std::exchange(position_, end)};
}

PredicateLexer::Result PredicateLexer::string() {
  const char quote = text_[position_];
  std::string value;
  for (std::size_t i = position_ + 1; i < text_.size(); ++i) {
    char c = text_[i];
    if (c == quote) {
      return PredicateToken{PredicateToken::Kind::literal,
                            std::string(text_.substr(position_, i + 1 - position_)), std::move(value),
                            std::exchange(position_, i + 1)};
    }
    if (c == '\\') {
      const auto meant = ++i < text_.size() ? escaped(text_[i]) : std::nullopt;
      if (!meant) return problem("a backslash in this text stands before something unknown");
      c = *meant;
    }
    value += c;
  }
  return problem("this text has no end");
}

PredicateLexer::Result PredicateLexer::symbol() {
  const auto rest = text_.substr(position_);
  for (const auto symbol : kSymbols) {
    if (rest.starts_with(symbol)) {
      return PredicateToken{PredicateToken::Kind::symbol, std::string(symbol), std::nullopt,
                            std::exchange(position_, position_ + symbol.size())};
    }
  }
  return problem("nothing begins with this character");
}

}  // namespace zelto
