#include "framework/actions/PredicateParser.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include <fmt/format.h>
#include <strings.h>

namespace zelto {

namespace {

constexpr std::size_t kLongestRule = 4096;
constexpr int kDeepest = 32;

constexpr std::string_view kItems = "fileproviderItems";

struct ComparisonSymbol {
  std::string_view symbol;
  PredicateComparison comparison;
};
constexpr std::array kComparisons{
    ComparisonSymbol{"=", PredicateComparison::equal},
    ComparisonSymbol{"==", PredicateComparison::equal},
    ComparisonSymbol{"!=", PredicateComparison::notEqual},
    ComparisonSymbol{"<>", PredicateComparison::notEqual},
    ComparisonSymbol{"<", PredicateComparison::less},
    ComparisonSymbol{"<=", PredicateComparison::lessOrEqual},
    ComparisonSymbol{"=<", PredicateComparison::lessOrEqual},
    ComparisonSymbol{">", PredicateComparison::greater},
    ComparisonSymbol{">=", PredicateComparison::greaterOrEqual},
    ComparisonSymbol{"=>", PredicateComparison::greaterOrEqual},
};

// Words count in any case, names do not.
bool sameWord(const std::string& text, std::string_view word) {
  return text.size() == word.size() && ::strncasecmp(text.data(), word.data(), word.size()) == 0;
}

// A constant that is written as a word; nothing for another word.
std::optional<PredicateOperand> constantWord(const std::string& word) {
  using enum PredicateOperand::Kind;
  if (sameWord(word, "YES") || sameWord(word, "TRUE")) return PredicateOperand{constant, true};
  if (sameWord(word, "NO") || sameWord(word, "FALSE")) return PredicateOperand{constant, false};
  if (sameWord(word, "NIL") || sameWord(word, "NULL")) return PredicateOperand{};
  return std::nullopt;
}

bool canBeOrdered(const PredicateOperand& operand) {
  const bool isConstant = operand.kind == PredicateOperand::Kind::constant;
  return !isConstant || (operand.constant && operand.constant->isNumber());
}

}  // namespace

std::expected<PredicateNode, PredicateProblem> PredicateParser::parse(std::string_view text) {
  if (text.size() > kLongestRule) {
    return std::unexpected(
        PredicateProblem{kLongestRule, fmt::format("the rule has more than {} bytes", kLongestRule)});
  }
  PredicateParser parser(text);
  auto node = parser.disjunction();
  if (parser.token_.kind != Kind::end) parser.fail(parser.here() + " stands behind the end of the rule");
  if (parser.problem_) return std::unexpected(std::move(*parser.problem_));
  return node;
}

void PredicateParser::advance() {
  if (problem_) return;
  auto next = lexer_.next();
  if (!next) return failAt(next.error().position, std::move(next.error().message));
  token_ = *std::move(next);
}

// From here on the text is at its end, so that whoever reads on stops.
void PredicateParser::failAt(std::size_t position, std::string message) {
  if (!problem_) problem_ = PredicateProblem{position, std::move(message)};
  token_ = PredicateToken{.position = position};
}

std::string PredicateParser::here() const {
  switch (token_.kind) {
    case Kind::end:
      return "the end";
    case Kind::variable:
      return "$" + token_.text;
    case Kind::aggregate:
      return "@" + token_.text;
    default:
      return token_.text;
  }
}

bool PredicateParser::at(Kind kind, std::string_view text) const {
  if (token_.kind != kind) return false;
  return kind == Kind::word ? sameWord(token_.text, text) : token_.text == text;
}

bool PredicateParser::accept(Kind kind, std::string_view text) {
  if (!at(kind, text)) return false;
  advance();
  return true;
}

void PredicateParser::expect(Kind kind, std::string_view text) {
  if (accept(kind, text)) return;
  fail(fmt::format("{}{} is expected here, not {}", kind == Kind::aggregate ? "@" : "", text, here()));
}

PredicateNode PredicateParser::chain(Node::Kind kind, std::string_view word, std::string_view symbol,
                                     Node (PredicateParser::*part)()) {
  Node first = (this->*part)();
  if (!at(Kind::word, word) && !at(Kind::symbol, symbol)) return first;
  Node result{.kind = kind};
  result.children.push_back(std::move(first));
  while (accept(Kind::word, word) || accept(Kind::symbol, symbol)) {
    result.children.push_back((this->*part)());
  }
  return result;
}

PredicateNode PredicateParser::deeper(Node (PredicateParser::*part)()) {
  if (depth_ == kDeepest) fail(fmt::format("the rule is nested deeper than {} levels", kDeepest));
  if (problem_) return {};
  ++depth_;
  Node result = (this->*part)();
  --depth_;
  return result;
}

PredicateNode PredicateParser::disjunction() {
  return chain(Node::Kind::disjunction, "OR", "||", &PredicateParser::conjunction);
}

PredicateNode PredicateParser::conjunction() {
  return chain(Node::Kind::conjunction, "AND", "&&", &PredicateParser::negation);
}

PredicateNode PredicateParser::negation() {
  if (!accept(Kind::word, "NOT") && !accept(Kind::symbol, "!")) return primary();
  Node result{.kind = Node::Kind::negation};
  result.children.push_back(deeper(&PredicateParser::negation));
  return result;
}

PredicateNode PredicateParser::primary() {
  if (accept(Kind::symbol, "(")) {
    Node result = deeper(&PredicateParser::disjunction);
    expect(Kind::symbol, ")");
    return result;
  }
  if (accept(Kind::word, "TRUEPREDICATE")) return {.kind = Node::Kind::constant, .holds = true};
  if (accept(Kind::word, "FALSEPREDICATE")) return {.kind = Node::Kind::constant, .holds = false};
  return comparison();
}

PredicateNode PredicateParser::comparison() {
  Node result{.kind = Node::Kind::comparison};
  result.left = operand();
  const auto position = token_.position;
  result.comparison = comparisonOperator();
  result.right = operand();
  const bool ordered =
      result.comparison != PredicateComparison::equal && result.comparison != PredicateComparison::notEqual;
  if (ordered && !(canBeOrdered(result.left) && canBeOrdered(result.right))) {
    failAt(position, "only numbers are before or behind one another");
  }
  return result;
}

PredicateComparison PredicateParser::comparisonOperator() {
  const auto* const found = std::ranges::find(kComparisons, token_.text, &ComparisonSymbol::symbol);
  if (token_.kind == Kind::symbol && found != kComparisons.end()) {
    advance();
    return found->comparison;
  }
  fail(fmt::format("a comparison is expected here (=, !=, <, <=, >, >=), not {}", here()));
  return {};
}

PredicateOperand PredicateParser::operand() {
  if (token_.kind == Kind::literal) {
    Operand result{.constant = std::move(token_.value)};
    advance();
    return result;
  }
  if (token_.kind == Kind::variable) return userInfoValue();
  if (token_.kind == Kind::word) {
    if (token_.text == kItems) return itemCount();
    if (sameWord(token_.text, "SUBQUERY")) return matchCount();
    if (auto constant = constantWord(token_.text)) {
      advance();
      return *std::move(constant);
    }
  }
  fail(here() + " is nothing that can be compared here");
  return {};
}

PredicateOperand PredicateParser::userInfoValue() {
  if (token_.text != variable_) fail(fmt::format("{} is not defined here", here()));
  advance();
  expect(Kind::symbol, ".");
  if (!problem_ && (token_.kind != Kind::word || token_.text != "userInfo")) {
    fail(fmt::format("of an item only userInfo is known, not {}", here()));
  }
  advance();
  expect(Kind::symbol, ".");
  if (token_.kind != Kind::word) fail("a key of the user info is expected here, not " + here());
  Operand result{.kind = Operand::Kind::userInfo, .key = std::move(token_.text)};
  advance();
  return result;
}

PredicateOperand PredicateParser::itemCount() {
  advance();
  expect(Kind::symbol, ".");
  expect(Kind::aggregate, "count");
  return {.kind = Operand::Kind::itemCount};
}

PredicateOperand PredicateParser::matchCount() {
  // One inside the other would ask every item about every item.
  if (variable_) fail("one SUBQUERY cannot stand in another");
  advance();
  expect(Kind::symbol, "(");
  if (!problem_ && token_.text != kItems) fail(fmt::format("{} is expected here, not {}", kItems, here()));
  advance();
  expect(Kind::symbol, ",");
  if (token_.kind != Kind::variable) fail("a variable is expected here, not " + here());
  variable_ = token_.text;
  advance();
  expect(Kind::symbol, ",");
  Operand result{.kind = Operand::Kind::matchCount};
  result.condition = std::make_shared<PredicateNode>(deeper(&PredicateParser::disjunction));
  variable_.reset();
  expect(Kind::symbol, ")");
  expect(Kind::symbol, ".");
  expect(Kind::aggregate, "count");
  return result;
}

}  // namespace zelto
