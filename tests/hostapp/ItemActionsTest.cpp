#include "tests/hostapp/HostFixture.h"

namespace zelto::test {
namespace {

// What users do with items, and what they are shown.
class ItemActionsTest : public HostFixture {
 protected:
  void SetUp() override {
    server.write("share/dir/report 100%.docx", "x");
    server.write("share/dir/notes.txt", "y");
    adjust = [this](HostParts::Given& given) {
      given.office = office;
      given.openCommand = command;
      given.notify = [this](const Notice& notice) {
        const std::lock_guard lock(mutex_);
        shown_.push_back(notice.title + ": " + notice.text);
      };
    };
  }
  // A program that notes what it is called with.
  void takeCalls() {
    command = server.own("open");
    std::ofstream(command) << "#!/bin/sh\nprintf '%s|%s' \"$#\" \"$1\" > " << server.own("url.new") << "\nmv "
                           << server.own("url.new") << " " << server.own("url") << "\n";
    ASSERT_EQ(0, ::chmod(command.c_str(), 0755));
  }
  std::string awaitCall() {
    EXPECT_TRUE(eventually([this] { return std::filesystem::exists(server.own("url")); }));
    const auto call = contentOf(server.own("url"));
    std::filesystem::remove(server.own("url"));
    return call;
  }
  std::string awaitNotice(std::size_t number) {
    EXPECT_TRUE(eventually([&, this] {
      const std::lock_guard lock(mutex_);
      return shown_.size() >= number;
    }));
    const std::lock_guard lock(mutex_);
    return shown_.at(number - 1);
  }

  const std::string kReport = "/My Files/share/dir/report 100%.docx";
  const std::string kNotes = "/My Files/share/dir/notes.txt";
  OfficeTemplates office;
  std::string command = "xdg-open";

 private:
  std::mutex mutex_;
  std::vector<std::string> shown_;
};

TEST_F(ItemActionsTest, OfficeOpensTheConfiguredAddress) {
  office = {"https://office.example/open?file={path}&mode=edit", "ms-word:ofe|u|https://files.example/"};
  takeCalls();
  start();
  service->openWithOfficeOnlineForPath(kReport);
  EXPECT_EQ("1|https://office.example/open?file=share/dir/report%20100%25.docx&mode=edit", awaitCall());
  service->openWithOffice365ForPath(kReport);
  EXPECT_EQ("1|ms-word:ofe|u|https://files.example/share/dir/report%20100%25.docx", awaitCall());
  EXPECT_FALSE(parts->notices->last());
}

TEST_F(ItemActionsTest, SaysWhyNothingOpens) {
  office = {"https://office.example/{path}", ""};
  command = server.own("nothing");
  start();
  service->openWithOffice365ForPath(kReport);
  EXPECT_NE(std::string::npos, awaitNotice(1).find("--office-365"));
  service->openWithOfficeOnlineForPath(kReport);
  EXPECT_NE(std::string::npos, awaitNotice(2).find("cannot be started"));
  service->openWithOfficeOnlineForPath("/My Files/share/none.docx");
  EXPECT_NE(std::string::npos, awaitNotice(3).find("no such item"));
}

TEST_F(ItemActionsTest, OnlyDocumentsAreOfferedToOffice) {
  start();
  const auto items = list("/My Files/share/dir");
  const auto& report = *named(items, "report 100%.docx");
  EXPECT_TRUE(isTrue(report, "canOpenWithOfficeOnline") && isTrue(report, "openWithOffice365"));
  const auto& notes = *named(items, "notes.txt");
  EXPECT_FALSE(isTrue(notes, "canOpenWithOfficeOnline") || isTrue(notes, "openWithOffice365"));
}

TEST_F(ItemActionsTest, CustomFieldsAreShownAndFollowTheirItem) {
  start();
  service->showCustomFieldsForPath(kNotes);
  EXPECT_EQ("notes.txt: No custom fields.", awaitNotice(1));
  EXPECT_FALSE(parts->actions->setCustomField(kNotes, "Project", "Bridge <2>"));
  EXPECT_FALSE(parts->actions->setCustomField(kNotes, "Client", "gr\xc3\xbc\xc3\x9f"));
  service->showCustomFieldsForPath(kNotes);
  EXPECT_EQ("notes.txt: Client: gr\xc3\xbc\xc3\x9f\nProject: Bridge <2>", awaitNotice(2));

  move("/My Files/share/dir", "/My Files/share/d\xc3\xa9plac\xc3\xa9");
  const std::string moved = "/My Files/share/d\xc3\xa9plac\xc3\xa9/notes.txt";
  restart();
  ASSERT_TRUE(parts->actions->customFields(moved));
  EXPECT_EQ(2U, parts->actions->customFields(moved)->size());
  EXPECT_FALSE(parts->actions->setCustomField(moved, "Client", ""));
  EXPECT_EQ(1U, parts->actions->customFields(moved)->size());
  remove("/My Files/share/d\xc3\xa9plac\xc3\xa9");
  server.write("share/d\xc3\xa9plac\xc3\xa9/notes.txt", "another");
  EXPECT_TRUE(parts->actions->customFields(moved)->empty());
}

TEST_F(ItemActionsTest, CustomFieldsAreBounded) {
  start();
  EXPECT_TRUE(parts->actions->setCustomField("/My Files/share/none", "a", "b"));
  EXPECT_TRUE(parts->actions->setCustomField(kNotes, "", "b"));
  EXPECT_TRUE(parts->actions->setCustomField(kNotes, std::string(129, 'a'), "b"));
  EXPECT_TRUE(parts->actions->setCustomField(kNotes, "a", std::string(4097, 'b')));
  EXPECT_TRUE(parts->actions->setCustomField(kNotes, "a", "\xff"));
  for (int i = 0; i < 64; ++i) EXPECT_FALSE(parts->actions->setCustomField(kNotes, std::to_string(i), "x"));
  EXPECT_TRUE(parts->actions->setCustomField(kNotes, "one more", "x"));
  EXPECT_FALSE(parts->actions->setCustomField(kNotes, "7", "changed"));
}

TEST(UrlTemplate, IsAUrl) {
  EXPECT_TRUE(isUrlTemplate("https://x/{path}"));
  EXPECT_TRUE(isUrlTemplate("ms-word:ofe|u|{path}"));
  for (const auto* bad : {"", "office", ":x", "1x:y", "ht tp:x", "https://a b", "-x:y"}) {
    EXPECT_FALSE(isUrlTemplate(bad)) << bad;
  }
  EXPECT_EQ("x:%C3%BC%3F%23%00", urlForPath("x:", std::string("\xc3\xbc?#\0", 5)));
}

}  // namespace
}  // namespace zelto::test
