#include "framework/actions/ActionPredicate.h"

#include <algorithm>
#include <compare>

#include "framework/actions/PredicateParser.h"

namespace zelto {

namespace {

using Value = std::optional<PropertyListValue>;

// A real with another number is compared as a real.
std::partial_ordering orderOf(const PropertyListValue& a, const PropertyListValue& b) {
  if (a.asReal() != nullptr || b.asReal() != nullptr) return a.doubleValue() <=> b.doubleValue();
  return a.integerValue() <=> b.integerValue();
}

bool areNumbers(const Value& a, const Value& b) { return a && b && a->isNumber() && b->isNumber(); }

bool areEqual(const Value& a, const Value& b) {
  return areNumbers(a, b) ? std::is_eq(orderOf(*a, *b)) : a == b;
}

bool compare(PredicateComparison comparison, const Value& a, const Value& b) {
  if (comparison == PredicateComparison::equal) return areEqual(a, b);
  if (comparison == PredicateComparison::notEqual) return !areEqual(a, b);
  const auto order = areNumbers(a, b) ? orderOf(*a, *b) : std::partial_ordering::unordered;
  switch (comparison) {
    case PredicateComparison::less:
      return std::is_lt(order);
    case PredicateComparison::lessOrEqual:
      return std::is_lteq(order);
    case PredicateComparison::greater:
      return std::is_gt(order);
    default:
      return std::is_gteq(order);
  }
}

class Evaluation {
 public:
  explicit Evaluation(const std::vector<NSDictionary>& items) : items_(items) {}

  // `item`: the one at hand, null outside a condition on one.
  bool holds(const PredicateNode& node, const NSDictionary* item) const {
    const auto child = [this, item](const PredicateNode& part) { return holds(part, item); };
    switch (node.kind) {
      case PredicateNode::Kind::constant:
        return node.holds;
      case PredicateNode::Kind::negation:
        return !child(node.children.front());
      case PredicateNode::Kind::conjunction:
        return std::ranges::all_of(node.children, child);
      case PredicateNode::Kind::disjunction:
        return std::ranges::any_of(node.children, child);
      default:
        return compare(node.comparison, value(node.left, item), value(node.right, item));
    }
  }

 private:
  Value value(const PredicateOperand& operand, const NSDictionary* item) const {
    switch (operand.kind) {
      case PredicateOperand::Kind::constant:
        return operand.constant;
      case PredicateOperand::Kind::userInfo: {
        const auto* const found = item->find(operand.key);
        return found != nullptr ? Value(*found) : std::nullopt;
      }
      case PredicateOperand::Kind::itemCount:
        return std::ssize(items_);
      default:
        return std::int64_t{std::ranges::count_if(
            items_, [this, &operand](const NSDictionary& one) { return holds(*operand.condition, &one); })};
    }
  }

  const std::vector<NSDictionary>& items_;
};

}  // namespace

std::expected<ActionPredicate, PredicateProblem> ActionPredicate::parse(std::string_view text) {
  auto root = PredicateParser::parse(text);
  if (!root) return std::unexpected(std::move(root.error()));
  return ActionPredicate(*std::move(root));
}

bool ActionPredicate::evaluate(const std::vector<NSDictionary>& items) const {
  return Evaluation(items).holds(root_, nullptr);
}

}  // namespace zelto
