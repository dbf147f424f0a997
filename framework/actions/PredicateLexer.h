#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/PropertyList.h"

namespace zelto {

// Why a rule cannot be used, and at which byte of it.
struct PredicateProblem {
  std::size_t position;
  std::string message;
};

struct PredicateToken {
  enum class Kind { end, word, variable, aggregate, literal, symbol };

  Kind kind = Kind::end;
  // As written; of a variable and of an aggregate without its first character, the dollar or at sign.
  std::string text = {};
  std::optional<PropertyListValue> value = {};  // of a literal
  std::size_t position = 0;
};

// Cuts a rule into tokens.
class PredicateLexer {
 public:
  explicit PredicateLexer(std::string_view text) : text_(text) {}

  // At the end of the text again and again its end. ERRORS: what begins no token, a literal that is not
  // complete or too large.
  std::expected<PredicateToken, PredicateProblem> next();

 private:
  using Result = std::expected<PredicateToken, PredicateProblem>;

  Result word(PredicateToken::Kind kind, std::size_t start);
  Result number();
  Result string();
  Result symbol();
  std::unexpected<PredicateProblem> problem(std::string message) const;

  std::string_view text_;
  std::size_t position_ = 0;  // of the next token, while one is read: of its begin
};

}  // namespace zelto
