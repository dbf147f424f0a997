#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/PropertyList.h"

namespace zelto {

struct PredicateNode;

// One side of a comparison.
struct PredicateOperand {
  enum class Kind {
    constant,
    userInfo,    // a value of the item at hand
    itemCount,   // how many items are selected
    matchCount,  // how many of them meet a condition
  };

  Kind kind = Kind::constant;
  std::optional<PropertyListValue> constant = {};       // none: nil
  std::string key = {};                                 // of the user info
  std::shared_ptr<const PredicateNode> condition = {};  // of matchCount
};

enum class PredicateComparison { equal, notEqual, less, lessOrEqual, greater, greaterOrEqual };

// A condition over the selected items, or over one of them.
struct PredicateNode {
  enum class Kind { constant, negation, conjunction, disjunction, comparison };

  Kind kind = Kind::constant;
  bool holds = false;                        // of a constant
  std::vector<PredicateNode> children = {};  // one of a negation, two or more of a conjunction or disjunction
  PredicateComparison comparison = PredicateComparison::equal;
  PredicateOperand left = {};
  PredicateOperand right = {};
};

}  // namespace zelto
