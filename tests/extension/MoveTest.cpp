#include "tests/extension/WriteRequests.h"
#include "transfer/FileProviderHelper.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MoveTest : public ExtensionFixture {
 protected:
  std::shared_ptr<NSProgress> move(const std::string& destination, ItemAnswers& answers) {
    return FileProviderHelper::instance().moveProviderItem(item_, destination, fieldsOf(6), Fields::filename,
                                                           answers.completion());
  }
  std::shared_ptr<RequestItem> item_ = requestItem("/S/a");
};

TEST_F(MoveTest, GivesTheItemOfTheHostOrElseTheOnePassedIn) {
  host().files["/S/a"] = fileDictionary("/S/b");
  ItemAnswers moved, unknown;
  EXPECT_EQ(host().progress, move("/S/b", moved));
  EXPECT_EQ("/S/b", moved.only().item->itemIdentifier());
  EXPECT_EQ(Fields::parentItemIdentifier, moved.only().pending);
  EXPECT_FALSE(moved.only().fetchContent || moved.only().error);
  host().files.clear();
  move("/S/c", unknown);
  EXPECT_EQ(item_, unknown.only().item);
  EXPECT_EQ(Fields::parentItemIdentifier, unknown.only().pending);
  EXPECT_THAT(host().calls(), ElementsAre("move /S/a /S/b", "move /S/a /S/c"));
}

TEST_F(MoveTest, IntoTheTrashDeletesAndGivesNoItem) {
  ItemAnswers answers, sameBeginning;
  EXPECT_EQ(host().progress, move(NSFileProviderTrashContainerItemIdentifier + "/a", answers));
  EXPECT_FALSE(answers.only().item || answers.only().fetchContent || answers.only().error);
  EXPECT_EQ(Fields::parentItemIdentifier, answers.only().pending);
  // The beginning decides, not the component.
  move(NSFileProviderTrashContainerItemIdentifier + "x", sameBeginning);
  EXPECT_THAT(host().calls(), ElementsAre("delete /S/a", "delete /S/a"));
  EXPECT_THAT(host().messages(), ElementsAre("FP[DEL] Delete /S/a", "FP[DEL] Deleted /S/a",
                                             "FP[DEL] Delete /S/a", "FP[DEL] Deleted /S/a"));
}

TEST_F(MoveTest, FailuresLeaveEveryFieldPending) {
  host().errors.emplace("/S/a", kFailure);
  ItemAnswers moved, deleted;
  move("/S/b", moved);
  move(NSFileProviderTrashContainerItemIdentifier, deleted);
  for (const auto* answers : {&moved, &deleted}) {
    EXPECT_FALSE(answers->only().item);
    EXPECT_EQ(fieldsOf(6), answers->only().pending);
    EXPECT_EQ(kFailure, answers->only().error);
  }
  const auto reason = description(kFailure);
  EXPECT_THAT(host().linesWith("Failed to"),
              ElementsAre("*** ERROR* ** FP[MOVE] Failed to move /S/a. Reason: " + reason,
                          "*** ERROR* ** FP[DEL] Failed to delete /S/a. Reason: " + reason));
}

}  // namespace
}  // namespace zelto::test
