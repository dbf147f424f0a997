#include <gtest/gtest.h>

#include "cli/SampleTree.h"
#include "cli/UpPlan.h"
#include "tests/cli/TemporaryHome.h"

namespace zelto::cli {
namespace {

const RunRecord kRunning{"default", "/srv", "/m", false, true, false, "bus", {1, 1, "b"}, {2, 2, "b"}};

TEST(UpPlan, TheFirstTimeTakesTheDefaults) {
  const test::TemporaryHome home;
  const auto plan = planUp("default", {}, {});
  ASSERT_TRUE(plan);
  EXPECT_TRUE(plan->startHost && plan->startExtension);
  EXPECT_EQ(sampleFolder(), plan->record.folder);
  EXPECT_EQ(home / "Zelto", plan->record.mountPoint);
  EXPECT_FALSE(plan->record.myFiles);
}

TEST(UpPlan, WhatRunsAsWishedIsLeftAlone) {
  for (const UpWish& wish : {UpWish{}, UpWish{"/srv", "/m", true, false}, UpWish{.mountPoint = "/m"}}) {
    const auto plan = planUp("default", wish, {kRunning, true, true});
    ASSERT_TRUE(plan);
    EXPECT_FALSE(plan->startHost || plan->startExtension);
  }
}

TEST(UpPlan, ADeadHalfIsStartedAgain) {
  auto plan = planUp("default", {}, {kRunning, false, true});
  ASSERT_TRUE(plan);
  EXPECT_TRUE(plan->startHost && !plan->startExtension);
  plan = planUp("default", {"/srv", "/m", {}, {}}, {kRunning, true, false});
  ASSERT_TRUE(plan);
  EXPECT_TRUE(!plan->startHost && plan->startExtension);
  EXPECT_EQ("/m", plan->record.mountPoint);
}

TEST(UpPlan, AnotherWishIsAConflict) {
  for (const UpWish& wish : {UpWish{.folder = "/other"}, UpWish{.mountPoint = "/other"},
                             UpWish{.myFiles = false}, UpWish{.offlineFiles = true}}) {
    const auto plan = planUp("default", wish, {kRunning, true, true});
    ASSERT_FALSE(plan);
    EXPECT_EQ(ExitCode::conflict, plan.error().code);
    EXPECT_NE(std::string::npos, plan.error().message.find("zelto "));
  }
}

TEST(UpPlan, AfterACrashGoesOnWithWhatWas) {
  auto plan = planUp("default", {}, {kRunning, false, false});
  ASSERT_TRUE(plan);
  EXPECT_TRUE(plan->startHost && plan->startExtension);
  EXPECT_EQ("/srv", plan->record.folder);
  EXPECT_EQ("/m", plan->record.mountPoint);
  EXPECT_EQ(true, plan->record.myFiles);
  plan = planUp("default", {.folder = "/other", .myFiles = false}, {kRunning, false, false});
  ASSERT_TRUE(plan);
  EXPECT_EQ("/other", plan->record.folder);
  EXPECT_EQ(false, plan->record.myFiles);
}

TEST(UpPlan, AWishNamesAFolder) {
  const test::TemporaryHome home;
  test::writeText(home / "file", "");
  for (const std::string& wrong : {home / "file", home / "missing"}) {
    const auto wish = wishOf({.folder = wrong});
    ASSERT_FALSE(wish);
    EXPECT_EQ(ExitCode::usage, wish.error().code);
  }
  std::filesystem::create_directory_symlink(home.path(), home / "link");
  EXPECT_EQ(home.path(), wishOf({.folder = home / "link"})->folder);
}

}  // namespace
}  // namespace zelto::cli
