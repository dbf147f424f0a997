#pragma once

#include <expected>
#include <string_view>
#include <vector>

#include "framework/actions/PredicateLexer.h"
#include "framework/actions/PredicateTree.h"

namespace zelto {

// The rule by which an action is offered on selected items: the part of the platform's predicate language
// that property lists need for it.
//
//   AND OR NOT && || ! ( ) TRUEPREDICATE FALSEPREDICATE
//   = == != <> < <= =< > >= =>
//   numbers, "texts", YES NO TRUE FALSE NIL NULL
//   fileproviderItems.@count                                   how many items are selected
//   SUBQUERY(fileproviderItems, $item, CONDITION).@count       how many of them meet a condition
//   $item.userInfo.KEY                                         in a condition: a value of the item's user
//   info
//
// A key that the user info does not have is NIL: different from every value. YES and 1 are equal. What is not
// two numbers is neither before nor behind one another. THREAD: any; immutable.
class ActionPredicate {
 public:
  // ERRORS: everything else, more than 4096 bytes, more than 32 levels.
  static std::expected<ActionPredicate, PredicateProblem> parse(std::string_view text);

  // `items` are the user infos of the selected items. Takes time in proportion to their number.
  bool evaluate(const std::vector<NSDictionary>& items) const;

 private:
  explicit ActionPredicate(PredicateNode root) : root_(std::move(root)) {}

  PredicateNode root_;
};

}  // namespace zelto
