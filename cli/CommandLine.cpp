#include "cli/CommandLine.h"

#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/Text.h"
#include "platform/bus/DomainName.h"

namespace zelto::cli {

namespace {

constexpr const char* kAbout =
    "Shows a server's folders as a file system; contents are fetched when they are read.";
constexpr const char* kFooter =
    "Exit codes: 0 done, 1 failed, 2 wrong arguments, 3 not running, 4 something is in the way,\n"
    "5 timed out, 130 interrupted. \"zelto COMMAND --help\" explains a command.";

// Adds the commands one by one; each remembers in `invocation` that it was chosen.
class Grammar {
 public:
  explicit Grammar(Invocation& invocation) : invocation_(invocation) {
    app_.footer(kFooter);
    app_.require_subcommand(1);
    addUp();
    addDown();
    addItemCommands();
    addActionCommands();
    addChangeCommands();
    addImport();
    addLog();
    addMode();
  }
  CLI::App& app() { return app_; }

 private:
  template <typename Options>
  CLI::App* command(const char* name, const char* about, std::shared_ptr<Options> options, bool json) {
    CLI::App* added = app_.add_subcommand(name, about);
    added->callback([this, options] { invocation_.command = *options; });
    added->add_option("--domain", invocation_.domain, "The instance to speak to (default: the one that runs)")
        ->type_name("NAME")
        ->check([](const std::string& value) { return isDomainName(value) ? "" : kDomainNameRule; });
    if (json) added->add_flag("--json", invocation_.json, "Answer in JSON, for programs");
    return added;
  }
  static void addSwitch(CLI::App* to, const char* name, std::optional<bool>& value, const char* about) {
    to->add_option_function<std::string>(
          name, [&value](const std::string& text) { value = text == "on"; }, about)
        ->type_name("on|off")
        ->check([](const std::string& text) {
          return text == "on" || text == "off" ? "" : "\"" + text + "\" is neither \"on\" nor \"off\"";
        });
  }
  static void addModes(CLI::App* to, std::optional<bool>& myFiles, std::optional<bool>& offlineFiles) {
    addSwitch(to, "--my-files", myFiles, "Whether the root has the folder of my files and the bookmarks");
    addSwitch(to, "--offline-files", offlineFiles, "Whether the root has the folder of offline files");
  }

  void addUp() {
    auto options = std::make_shared<UpOptions>();
    CLI::App* up = command("up", "Start: show the shares in a folder as a file system", options, true);
    up->add_option("DIR", options->folder, "The folder of shares (default: a sample that is made for you)")
        ->type_name("");
    up->add_option("--mount", options->mountPoint, "Where to show them (default: ~/Zelto)")->type_name("DIR");
    addModes(up, options->myFiles, options->offlineFiles);
  }
  void addDown() {
    auto options = std::make_shared<DownOptions>();
    CLI::App* down = command("down", "Stop, and leave no process, mount or socket behind", options, false);
    down->add_flag("--purge", options->purge,
                   "Also remove what is kept between runs: local copies and the sample");
    command("status", "Say what runs and how much is here", std::make_shared<StatusOptions>(), true);
  }
  void addItemCommands() {
    auto list = std::make_shared<ListOptions>();
    command("ls", "List what is known of a folder, without asking the server", list, true)
        ->add_option("PATH", list->path, "A folder in the file system")
        ->required()
        ->type_name("");
    auto item = std::make_shared<ItemOptions>();
    command("item", "Show what is known of one file or folder", item, true)
        ->add_option("PATH", item->path, "A path in the file system")
        ->required()
        ->type_name("");
    auto fetch = std::make_shared<FetchOptions>();
    command("fetch", "Fetch the whole contents of files", fetch, false)
        ->add_option("PATH", fetch->paths, "Files in the file system")
        ->required()
        ->type_name("");
    auto evict = std::make_shared<EvictOptions>();
    command("evict", "Drop local copies of contents; they are fetched again when needed", evict, true)
        ->add_option("PATH", evict->paths, "Files, or folders with all below them")
        ->required()
        ->type_name("");
  }
  void addActionCommands() {
    auto actions = std::make_shared<ActionsOptions>();
    command("actions", "List what can be done with an item, or with several together", actions, true)
        ->add_option("PATH", actions->paths, "Items in the file system")
        ->required()
        ->type_name("");
    auto perform = std::make_shared<DoOptions>();
    CLI::App* added = command("do", "Carry an action out, and print what it has to tell", perform, false);
    added->add_option("ACTION", perform->action, "Its name, as \"actions\" prints it")
        ->required()
        ->type_name("");
    added->add_option("PATH", perform->paths, "Items in the file system")->required()->type_name("");
    auto badges = std::make_shared<BadgesOptions>();
    command("badges", "Show the badges of items, and whether the server has what is here", badges, true)
        ->add_option("PATH", badges->paths, "Items in the file system")
        ->required()
        ->type_name("");
  }
  void addChangeCommands() {
    command("pending", "List what was changed here and the server does not have yet",
            std::make_shared<PendingOptions>(), true);
    auto wait = std::make_shared<WaitOptions>();
    command("wait", "Wait until the server has every change, or nothing but failures is left", wait, false)
        ->add_option("--timeout", wait->timeout, "Give up waiting after so many seconds")
        ->check(CLI::Range(0.0, 1e9))
        ->type_name("S");
    auto retry = std::make_shared<RetryOptions>();
    command("retry", "Try changes that failed again now", retry, false)
        ->add_option("PATH", retry->paths, "What was changed (default: everything)")
        ->type_name("");
    auto cancel = std::make_shared<CancelOptions>();
    CLI::App* added =
        command("cancel", "Give changes up: what was made here goes, all else is again as on the server",
                cancel, false);
    added->add_option("PATH", cancel->paths, "What was changed")->required()->type_name("");
    added->add_flag("-y,--yes", cancel->yes, "Do not ask");
  }
  void addImport() {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* added =
        command("import", "Bring a folder with all that is in it to the server", options, false);
    added->add_option("DIR", options->source, "The folder, somewhere outside")->required()->type_name("");
    added->add_option("DESTINATION", options->destination, "A folder in the file system, for DIR to be in")
        ->required()
        ->type_name("");
  }
  void addLog() {
    auto options = std::make_shared<LogOptions>();
    CLI::App* log = command("log", "Show the log", options, false);
    log->add_flag("-f,--follow", options->follow, "Go on with new lines until Ctrl-C");
    log->add_option("-n,--lines", options->lines, "How many lines of the past (default: 50)")
        ->check(CLI::Range(0, 1'000'000))
        ->type_name("N");
  }
  void addMode() {
    auto options = std::make_shared<ModeOptions>();
    addModes(command("mode", "Change what the root shows, while running", options, false), options->myFiles,
             options->offlineFiles);
  }

  Invocation& invocation_;
  CLI::App app_{kAbout, "zelto"};
};

}  // namespace

std::variant<Invocation, Message> parseCommandLine(int argc, const char* const* argv) {
  Invocation invocation;
  Grammar grammar(invocation);
  try {
    grammar.app().parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream out;
    std::ostringstream problem;
    const int code = grammar.app().exit(error, out, problem);
    if (code == 0) return Message{ExitCode::success, out.str()};
    if (argc <= 1) return Message{ExitCode::usage, grammar.app().help()};
    return Message{ExitCode::usage, problem.str()};
  }
  if (const auto* mode = std::get_if<ModeOptions>(&invocation.command);
      mode != nullptr && !mode->myFiles && !mode->offlineFiles) {
    return Message{ExitCode::usage,
                   fmt::format("Nothing to change. Try \"{} mode --my-files off\".\n", programName())};
  }
  return invocation;
}

}  // namespace zelto::cli
