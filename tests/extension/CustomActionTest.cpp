#include <future>

#include "actions/FileProviderCustomAction.h"
#include "extension/FileProviderExtension.h"
#include "tests/extension/Fixture.h"

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct KnownAction {
  std::string name;
  std::vector<std::string> calls;  // for the items /S/a and /S/b
  std::vector<std::string> lines;
};

std::vector<std::string> forBoth(const std::string& before, const std::string& after = "") {
  return {before + "/S/a" + after, before + "/S/b" + after};
}

KnownAction action(const std::string& name, const std::string& call, const std::string& line) {
  return {name, forBoth(call + " "), forBoth("INFO FP[Action] " + line + ": ")};
}

// Each action as the framework asks for it: through the principal class.
class CustomActionTest : public ExtensionFixture {
 protected:
  using Handler = Completion<std::optional<NSError>>;

  std::shared_ptr<NSProgress> perform(const std::string& identifier, const std::vector<std::string>& items,
                                      Handler handler) {
    return extension_.performActionWithIdentifier(identifier, items, std::move(handler));
  }
  // The action's error and its progress, once it has completed.
  std::pair<std::optional<NSError>, std::shared_ptr<NSProgress>> performed(
      const std::string& identifier, const std::vector<std::string>& items) {
    std::promise<std::optional<NSError>> answer;
    const auto progress =
        perform(identifier, items, [&answer](std::optional<NSError> error) { answer.set_value(error); });
    return {answer.get_future().get(), progress};
  }

  FileProviderExtension extension_{NSFileProviderDomain{"d", "D"}};
};

TEST_F(CustomActionTest, EachActionCallsTheHostOncePerItemInOrder) {
  const std::vector<KnownAction> actions{
      {"RefreshMyFiles",
       {"refreshMyFiles", "refreshMyFiles"},
       forBoth("INFO FP[Action] Refresh MyFiles (", ")")},
      {"RefreshDirectory", forBoth("refresh ", " 1"), forBoth("INFO FP[Action] Refresh: ")},
      action("ShowCustomFields", "customFields", "ShowCustomFields"),
      action("OpenWithOfficeOnline", "officeOnline", "OpenWithOfficeOnline"),
      action("OpenWithOffice365", "office365", "OpenWithOfficeOnline"),
      action("Bookmark", "addBookmark", "Add Bookmark"),
      action("RemoveBookmark", "removeBookmark", "Remove Bookmark"),
      action("CheckoutStatus", "checkoutStatus", "Show Checkout Status"),
      action("Checkin", "checkIn", "Check In"),
      action("Checkout", "checkOut", "Check Out"),
      action("AddOffline", "makeOffline", "MakeAvailableOffline"),
      action("RemoveOffline", "removeOffline", "RemoveFromOffline"),
  };
  std::vector<std::string> calls, lines;
  for (const auto& known : actions) {
    const auto [error, progress] = performed("it.pellam.Zelto.Provider." + known.name, {"/S/a", "/S/b"});
    EXPECT_FALSE(error) << known.name;
    EXPECT_EQ(2, progress->totalUnitCount()) << known.name;
    EXPECT_EQ(2, progress->completedUnitCount()) << known.name;
    calls.insert(calls.end(), known.calls.begin(), known.calls.end());
    lines.insert(lines.end(), known.lines.begin(), known.lines.end());
  }
  EXPECT_EQ(calls, host().calls());
  EXPECT_EQ(lines, host().linesWith("FP[Action]"));
}

TEST_F(CustomActionTest, UnknownActionsFailWithTheirProgressAtItsEnd) {
  for (const std::string identifier : {"Checkin", "it.pellam.Zelto.Provider.checkin", ""}) {
    const auto [error, progress] = performed(identifier, {"/S/a", "/S/b", "/S/c"});
    ASSERT_TRUE(error);
    EXPECT_EQ(NSCocoaErrorDomain, error->domain());
    EXPECT_EQ(3328, error->code());
    EXPECT_EQ(3, progress->completedUnitCount());
  }
  EXPECT_THAT(host().calls(), IsEmpty());
  EXPECT_THAT(host().linesWith("FP[Action]"),
              ElementsAre("WARN FP[Action] Unknown action: Checkin",
                          "WARN FP[Action] Unknown action: it.pellam.Zelto.Provider.checkin",
                          "WARN FP[Action] Unknown action: "));
}

TEST_F(CustomActionTest, NoItemsAreNoWorkAndNoHostIsNoFailure) {
  const auto [nothing, empty] = performed("it.pellam.Zelto.Provider.Bookmark", {});
  EXPECT_FALSE(nothing);
  EXPECT_EQ(0, empty->totalUnitCount());
  EXPECT_THAT(host().calls(), IsEmpty());
  client().setServer(nullptr);
  const auto [error, progress] = performed("it.pellam.Zelto.Provider.Bookmark", {"/S/a"});
  EXPECT_FALSE(error);
  EXPECT_EQ(1, progress->completedUnitCount());
}

// The units that are completed after each change of the progress.
std::vector<std::int64_t> steps(void (FileProviderCustomAction::*handler)(
    const std::vector<std::string>&, NSProgress&, Completion<std::optional<NSError>>)) {
  const auto progress = NSProgress::create(3);
  std::vector<std::int64_t> result;
  progress->setChangeHandler(
      [&result](const NSProgress& changed) { result.push_back(changed.completedUnitCount()); });
  (FileProviderCustomAction::instance().*handler)({"/S/a", "/S/b", "/S/c"}, *progress, [](auto) {});
  return result;
}

TEST_F(CustomActionTest, ProgressCountsItemsAndStandsAtItsEndDuringEachRefreshOfMyFiles) {
  EXPECT_THAT(steps(&FileProviderCustomAction::checkInFileForItemsWithIdentifiers), ElementsAre(1, 2, 3));
  EXPECT_THAT(steps(&FileProviderCustomAction::refreshDirectoryForItemsWithIdentifiers),
              ElementsAre(1, 2, 3));
  EXPECT_THAT(steps(&FileProviderCustomAction::refreshMyFilesForItemsWithIdentifiers),
              ElementsAre(3, 1, 3, 2, 3, 3));
}

TEST_F(CustomActionTest, ActionsRunOneAfterTheOtherWithoutHoldingTheCaller) {
  std::promise<void> started, proceed;
  FileProviderCustomAction::instance().backgroundQueue().async([&] {
    started.set_value();
    proceed.get_future().wait();
  });
  started.get_future().wait();
  std::vector<std::string> order;
  perform("it.pellam.Zelto.Provider.Checkout", {"/S/a"}, [&](auto) { order.emplace_back("out"); });
  const auto last =
      perform("it.pellam.Zelto.Provider.Checkin", {"/S/a"}, [&](auto) { order.emplace_back("in"); });
  EXPECT_EQ(0, last->completedUnitCount());
  EXPECT_THAT(host().calls(), IsEmpty());
  proceed.set_value();
  FileProviderCustomAction::instance().backgroundQueue().drain();
  EXPECT_THAT(order, ElementsAre("out", "in"));
  EXPECT_THAT(host().calls(), ElementsAre("checkOut /S/a", "checkIn /S/a"));
}

}  // namespace
}  // namespace zelto::test
