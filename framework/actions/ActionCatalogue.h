#pragma once

#include <functional>
#include <string>
#include <vector>

#include "framework/actions/ActionPredicate.h"
#include "framework/actions/StringTable.h"
#include "platform/foundation/NSBundle.h"

namespace zelto {

// An action that users can choose for items.
struct ItemAction {
  std::string identifier;
  std::string title;  // in the user's language

  friend bool operator==(const ItemAction&, const ItemAction&) = default;
};

// A badge that items can carry.
struct ItemDecoration {
  std::string identifier;
  std::string badgeImage;  // the picture's path
  std::string label;       // in the user's language
  std::string category;    // how to draw it: "Badge" for a picture on the item's icon

  friend bool operator==(const ItemDecoration&, const ItemDecoration&) = default;
};

// What the bundle's property list declares for its items: the actions, each with the rule by which it is
// offered, and the badges.
//
// An entry that cannot be used is left out and reported, and so is all but the first of one identifier. A
// title or label without a text is shown as its token. THREAD: any; immutable.
class ActionCatalogue {
 public:
  using Report = std::function<void(const std::string& message)>;

  // BLOCKS: on the disk. `report` is called before this returns.
  ActionCatalogue(const NSBundle& bundle, const Report& report);

  // All of them, in the property list's order.
  std::vector<ItemAction> actions() const;
  // Those that the rules offer on the selected items, in the same order. `userInfos` are the items' user
  // infos.
  std::vector<ItemAction> actionsFor(const std::vector<NSDictionary>& userInfos) const;

  const std::vector<ItemDecoration>& decorations() const { return decorations_; }
  // Null for an identifier that is not declared. Valid as long as the catalogue.
  const ItemDecoration* decoration(const std::string& identifier) const;

 private:
  struct Offer {
    ItemAction action;
    ActionPredicate rule;
  };

  std::vector<Offer> offers_;
  std::vector<ItemDecoration> decorations_;
};

}  // namespace zelto
