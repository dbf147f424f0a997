#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "framework/actions/PredicateLexer.h"
#include "framework/actions/PredicateTree.h"

namespace zelto {

// Reads one rule. After the first problem everything else of the text is skipped.
class PredicateParser {
 public:
  static std::expected<PredicateNode, PredicateProblem> parse(std::string_view text);

 private:
  using Node = PredicateNode;
  using Operand = PredicateOperand;
  using Kind = PredicateToken::Kind;

  explicit PredicateParser(std::string_view text) : lexer_(text) { advance(); }

  Node disjunction();
  Node conjunction();
  Node negation();
  Node primary();
  Node comparison();
  PredicateComparison comparisonOperator();
  Operand operand();
  Operand userInfoValue();
  Operand itemCount();
  Operand matchCount();

  // Two or more of what `part` reads, between these words or symbols; one stays what it is.
  Node chain(Node::Kind kind, std::string_view word, std::string_view symbol,
             Node (PredicateParser::*part)());
  // What `part` reads, one level deeper.
  Node deeper(Node (PredicateParser::*part)());

  void advance();
  void fail(std::string message) { failAt(token_.position, std::move(message)); }
  void failAt(std::size_t position, std::string message);
  // What stands here, for a message.
  std::string here() const;
  bool at(Kind kind, std::string_view text) const;
  bool accept(Kind kind, std::string_view text);
  void expect(Kind kind, std::string_view text);

  PredicateLexer lexer_;
  PredicateToken token_;
  std::optional<PredicateProblem> problem_;
  int depth_ = 0;
  std::optional<std::string> variable_;  // the item's name where a condition on one is read
};

}  // namespace zelto
