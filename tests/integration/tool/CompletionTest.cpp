// Tests each completion script of src/tool/completion in its shell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "RunningTool.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Service.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using testing::HasSubstr;

class ShellCompletionTest : public testing::Test {
protected:
    ShellCompletionTest() {
        EXPECT_EQ(::mkdir((folder / "run").c_str(), 0700), 0);
        ::setenv("KOVA_RUNTIME_DIR", (folder / "run").c_str(), 1);
        ::setenv("KOVA_COMPLETION_DEADLINE", "1m", 1);
        const std::string path = std::string(KOVA_TOOL_FOLDER ":") + std::getenv("PATH");
        ::setenv("PATH", path.c_str(), 1);
        registered = std::make_unique<http::Endpoint>(*player, "kova:/player");
    }
    ~ShellCompletionTest() override {
        ::unsetenv("KOVA_RUNTIME_DIR");
        ::unsetenv("KOVA_COMPLETION_DEADLINE");
    }

    Watchdog watchdog{"a shell completes"};
    TemporaryFolder folder;
    kit::Observable<int> level{30};
    const std::unique_ptr<kit::Service> player =
        kit::ServiceBuilder().mount("/level", level).inspect().build();
    std::unique_ptr<http::Endpoint> registered;
};

/// A command line, and the line after the tab key is pressed.
struct Case {
    char const* typed;
    char const* completed;
};

constexpr Case CASES[] = {
    {"kova wat", "kova watch "},
    {"kova get --head", "kova get --header "},
    {"kova get kova:/pl", "kova get kova:/player$"},
    {"kova get kova:/player$/le", "kova get kova:/player$/level "},
    {"kova get 'kova:/player$/le", "kova get 'kova:/player$/level' "},
    {"kova tree --to kova:/pl", "kova tree --to kova:/player "},
    {"kova tree --to=kova:/pl", "kova tree --to=kova:/player "},
    {"kova get --to kova:/player /l", "kova get --to kova:/player /level "},
    {"kova decode some-f", "kova decode some-file "},
};

/// A shell, the commands that load the script, and those that make Ctrl-X P show the line.
struct Shell {
    char const* name;
    std::vector<std::string> words;
    char const* load;
    char const* show;
};

class ScriptTest : public ShellCompletionTest, public testing::WithParamInterface<Shell> {};

TEST_P(ScriptTest, CompletionScriptCompletesTheLineOfTheShell) {
    RunningTool shell(Command{GetParam().words}, 200);
    const std::string scripts = KOVA_SOURCE_DIR "/src/tool/completion";
    shell.type("cd '" + folder.path() + "'; touch some-file; scripts='" + scripts + "'; " +
               GetParam().load + "; " + GetParam().show + "; echo rea''dy\r");
    shell.awaitOutput("ready");
    for (const Case& each : CASES) {
        watchdog.enter(each.typed);
        shell.out.clear();
        shell.type(std::string(each.typed) + "\t\x18p");
        shell.awaitOutput("<");
        shell.awaitOutput(">");
        EXPECT_THAT(shell.out, HasSubstr('<' + std::string(each.completed) + '>'));
        shell.type("\x15");  // deletes the line
    }
    shell.type("exit\r");
    EXPECT_EQ(shell.wait(), 0);
}

const Shell SHELLS[] = {
    {"Bash",
     {"bash", "--norc", "--noprofile", "-i"},
     ". $scripts/kova.bash",
     R"(bind -x '"\C-xp": echo "<$READLINE_LINE>"')"},
    {"Zsh",
     {"zsh", "-f", "-i"},
     "fpath=($scripts $fpath); autoload -U compinit; compinit -D -u; bindkey -e",
     R"(show() { print -r -- "<$BUFFER>" }; zle -N show; bindkey '^xp' show)"},
};

INSTANTIATE_TEST_SUITE_P(Shells, ScriptTest, testing::ValuesIn(SHELLS),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace kova::test
