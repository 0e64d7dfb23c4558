// The word shell: the other words, line by line.
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>

#include "ExitStatus.h"
#include "Inspector.h"
#include "LineEditor.h"
#include "Program.h"
#include "Report.h"
#include "ShellLine.h"
#include "Target.h"
#include "Words.h"

namespace kova::tool {

namespace {

constexpr std::size_t LONGEST_LINE = std::size_t{64} * 1024;
constexpr char const* SERVICE = "KOVA_SERVICE";

/// Sets the variable that names the service of all words, and restores it at the end.
class ServiceVariable {
public:
    explicit ServiceVariable(const std::string& service) {
        if (char const* const former = std::getenv(SERVICE)) {
            former_ = former;
        }
        ::setenv(SERVICE, service.c_str(), 1);
    }
    ~ServiceVariable() {
        if (former_) {
            ::setenv(SERVICE, former_->c_str(), 1);
        } else {
            ::unsetenv(SERVICE);
        }
    }
    ServiceVariable(const ServiceVariable&) = delete;
    ServiceVariable& operator=(const ServiceVariable&) = delete;

private:
    std::optional<std::string> former_;
};

bool isReadable(int descriptor, int milliseconds) {
    pollfd source{descriptor, POLLIN, 0};
    return ::poll(&source, 1, milliseconds) > 0;
}

// Consumes the signals that have arrived. Returns whether one of them ends the shell.
bool consumeSignals(int interrupt) {
    bool isTerminated = false;
    while (interrupt >= 0 && isReadable(interrupt, 0)) {
        signalfd_siginfo signal{};
        const ssize_t count = ::read(interrupt, &signal, sizeof signal);
        if (count <= 0) {
            break;
        }
        isTerminated |= count == sizeof signal && signal.ssi_signo != SIGINT;
    }
    return isTerminated;
}

/// Executes lines.
class Shell {
public:
    explicit Shell(const Context& context) : context_(context) {}

    /// Reads lines from a terminal until Ctrl-D, and returns `DONE`.
    int runAtTerminal();
    /// Reads lines until one fails, and returns its status.
    int runScript();

private:
    int execute(const std::string& line);
    int executeWords(std::vector<std::string> words);
    bool readLine(std::string& line);
    LineCompletion complete(const std::string& line) const;

    const Context& context_;
    bool isLeft_ = false;
};

int Shell::execute(const std::string& line) {
    auto words = wordsOfLine(line);
    if (!words) {
        return misused(context_, words.error());
    }
    if (words->empty()) {
        return DONE;
    }
    const int status = executeWords(*std::move(words));
    context_.out.stream.flush();
    return status;
}

int Shell::executeWords(std::vector<std::string> words) try {
    if (words[0] == "exit" || words[0] == "quit") {
        isLeft_ = true;
        return DONE;
    }
    if (words[0] == "shell") {
        return misused(context_, {400, "this is a shell already; 'exit' leaves it"});
    }
    if (words[0] == "help") {
        words[0] = "--help";
    }
    Context context = context_;
    context.isInShell = true;
    return runProgram(std::move(words), context);
} catch (const std::exception& error) {
    printError(context_, error.what());
    return FAILED;
}

LineCompletion Shell::complete(const std::string& line) const try {
    return completeLine(line, completionsOf(wordsToComplete(line), context_));
} catch (const std::exception&) {
    return {};
}

int Shell::runAtTerminal() {
    LineEditor editor(context_.interrupt, historyFile(),
                      [this](const std::string& line) { return complete(line); });
    std::string line;
    while (!isLeft_) {
        const auto outcome = editor.read(line);
        if (outcome == LineEditor::Outcome::ended) {
            context_.out.stream << '\n';
            break;
        }
        if (outcome == LineEditor::Outcome::line) {
            if (line.find_first_not_of(" \t") != std::string::npos) {
                editor.remember(line);
            }
            execute(line);
        } else {
            context_.out.stream << "^C\n" << std::flush;
        }
        if (consumeSignals(context_.interrupt)) {
            return INTERRUPTED;
        }
    }
    return DONE;
}

// Reads byte by byte, because the rest of standard input can be the payload of a word. Returns
// false at the end, or if Ctrl-C was pressed.
bool Shell::readLine(std::string& line) {
    line.clear();
    char byte = 0;
    while (line.size() <= LONGEST_LINE) {
        std::array<pollfd, 2> sources{
            {{context_.input, POLLIN, 0}, {context_.interrupt, POLLIN, 0}}};
        ::poll(sources.data(), sources.size(), -1);
        if (sources[1].revents != 0 || ::read(context_.input, &byte, 1) != 1) {
            return !line.empty() && sources[1].revents == 0;
        }
        if (byte == '\n') {
            return true;
        }
        line += byte;
    }
    return true;
}

int Shell::runScript() {
    std::string line;
    while (!isLeft_ && readLine(line)) {
        const int status =
            line.size() > LONGEST_LINE
                ? misused(context_, {400, "a line has more than " + std::to_string(LONGEST_LINE) +
                                              " bytes; --file reads a payload from a file"})
                : execute(line);
        if (!context_.out.stream) {
            printError(context_, "cannot write to standard output");
            return OUTPUT_FAILED;
        }
        if (status != DONE) {
            return isReadable(context_.interrupt, 0) ? INTERRUPTED : status;
        }
    }
    return isReadable(context_.interrupt, 0) ? INTERRUPTED : DONE;
}

int run(const Context& context, const std::string& service) {
    std::optional<ServiceVariable> variable;
    if (!service.empty()) {
        const auto target = Target::ofService(service);
        if (!target) {
            return misused(context, target.error());
        }
        variable.emplace(service);
    }
    Shell shell(context);
    const bool isTerminal = ::isatty(context.input) != 0 && context.out.isTerminal;
    return isTerminal ? shell.runAtTerminal() : shell.runScript();
}

}  // namespace

void addShell(Words& words) {
    const auto service = std::make_shared<std::string>();
    CLI::App& word = words.add(
        "shell",
        "Reads words line by line, with history and completion of paths on a terminal; else it "
        "ends with the first word that fails",
        {"kova shell", "kova shell kova:/device",
         "echo 'get /level' | kova shell unix:player.sock"});
    addServiceArgument(word, *service);
    words.onSelected(word, [service](const Context& context) { return run(context, *service); });
}

}  // namespace kova::tool
