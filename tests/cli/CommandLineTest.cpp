#include <gtest/gtest.h>

#include "cli/CommandLine.h"
#include "cli/ProgressBar.h"
#include "cli/Text.h"

namespace zelto::cli {
namespace {

std::variant<Invocation, Message> parse(std::vector<const char*> words) {
  words.insert(words.begin(), "zelto");
  return parseCommandLine(static_cast<int>(words.size()), words.data());
}

TEST(CommandLine, ReadsEveryOptionOfUp) {
  const auto parsed = parse({"up", "/srv", "--mount", "/m", "--domain", "work", "--my-files", "on",
                             "--offline-files", "off", "--json"});
  const auto* invocation = std::get_if<Invocation>(&parsed);
  ASSERT_NE(nullptr, invocation);
  EXPECT_EQ("work", invocation->domain);
  EXPECT_TRUE(invocation->json);
  const auto& up = std::get<UpOptions>(invocation->command);
  EXPECT_EQ("/srv", up.folder);
  EXPECT_EQ("/m", up.mountPoint);
  EXPECT_EQ(true, up.myFiles);
  EXPECT_EQ(false, up.offlineFiles);
}

TEST(CommandLine, LeavesOpenWhatIsNotSaid) {
  const auto parsed = parse({"up"});
  const auto& invocation = std::get<Invocation>(parsed);
  EXPECT_FALSE(invocation.domain);
  const auto& up = std::get<UpOptions>(invocation.command);
  EXPECT_FALSE(up.folder || up.mountPoint || up.myFiles || up.offlineFiles);
  const auto log = parse({"log"});
  EXPECT_EQ(50U, std::get<LogOptions>(std::get<Invocation>(log).command).lines);
}

TEST(CommandLine, ReadsWhatConcernsLocalChanges) {
  const auto commandOf = [](std::vector<const char*> words) {
    return std::get<Invocation>(parse(std::move(words))).command;
  };
  EXPECT_TRUE(std::get<Invocation>(parse({"pending", "--json"})).json);
  EXPECT_EQ(1.5, std::get<WaitOptions>(commandOf({"wait", "--timeout", "1.5"})).timeout);
  EXPECT_FALSE(std::get<WaitOptions>(commandOf({"wait"})).timeout);
  EXPECT_TRUE(std::get<RetryOptions>(commandOf({"retry"})).paths.empty());
  EXPECT_EQ((std::vector<std::string>{"a", "b"}),
            std::get<RetryOptions>(commandOf({"retry", "a", "b"})).paths);
  EXPECT_FALSE(std::get<CancelOptions>(commandOf({"cancel", "a"})).yes);
  EXPECT_TRUE(std::get<CancelOptions>(commandOf({"cancel", "-y", "a"})).yes);
  const auto import = std::get<ImportOptions>(commandOf({"import", "from", "to"}));
  EXPECT_EQ("from", import.source);
  EXPECT_EQ("to", import.destination);
}

TEST(CommandLine, RefusesWhatItDoesNotUnderstand) {
  const std::vector<std::vector<const char*>> wrong{
      {},
      {"fly"},
      {"up", "--my-files", "maybe"},
      {"up", "--domain", "1x"},
      {"up", "--domain", "a-b"},
      {"up", "a", "b"},
      {"ls"},
      {"fetch"},
      {"log", "-n", "-3"},
      {"log", "-n", "many"},
      {"mode"},
      {"wait", "--timeout", "-1"},
      {"wait", "--timeout", "soon"},
      {"pending", "a"},
      {"cancel"},
      {"cancel", "--yes"},
      {"import", "a"},
      {"import", "a", "b", "c"},
      {"down", "--json"},
  };
  for (const auto& words : wrong) {
    const auto parsed = parse(words);
    const auto* message = std::get_if<Message>(&parsed);
    ASSERT_NE(nullptr, message) << testing::PrintToString(words);
    EXPECT_EQ(ExitCode::usage, message->code);
    EXPECT_FALSE(message->text.empty());
  }
  const auto help = parse({"up", "--help"});
  EXPECT_EQ(ExitCode::success, std::get<Message>(help).code);
}

TEST(Text, ShowsSizesWordsAndBars) {
  EXPECT_EQ("0 B", byteCount(0));
  EXPECT_EQ("1023 B", byteCount(1023));
  EXPECT_EQ("1.5 KiB", byteCount(1536));
  EXPECT_EQ("12 MiB", byteCount(12U << 20U));
  EXPECT_EQ("16 EiB", byteCount(UINT64_MAX));
  EXPECT_EQ("/a/b-c.d", shellQuoted("/a/b-c.d"));
  EXPECT_EQ("'it'\\''s $HOME'", shellQuoted("it's $HOME"));
  EXPECT_EQ("''", shellQuoted(""));
  EXPECT_EQ("a?[31m?ü", printable("a\x1b[31m\nü"));
  EXPECT_EQ("[#####.....]  50 %", progressBar(50, 100, 10));
  EXPECT_EQ("[##########] 100 %", progressBar(7, 3, 10));
  EXPECT_EQ("[##########] 100 %", progressBar(0, 0, 10));
}

}  // namespace
}  // namespace zelto::cli
