#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <utility>
#include <vector>

namespace kova::test {

/// The command line of a program other than kova: its name and its arguments.
struct Command {
    std::vector<std::string> words;
};

/// The program kova as a process. Its standard output and standard error are pipes, or the same
/// pseudo-terminal.
class RunningTool {
public:
    /// Starts the program with its standard input and output at pipes.
    explicit RunningTool(const std::vector<std::string>& words)
        : RunningTool(Command{toolWith(words)}) {}
    /// Starts another program with its standard input and output at pipes.
    explicit RunningTool(const Command& command) {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        std::array<int, 2> err{};
        for (auto* ends : {&in, &out, &err}) {
            EXPECT_EQ(::pipe2(ends->data(), O_CLOEXEC), 0);
        }
        child_ = ::fork();
        if (child_ == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::dup2(err[1], STDERR_FILENO);
            exec(command.words);
        }
        ::close(in[0]);
        ::close(out[1]);
        ::close(err[1]);
        input_ = in[1];
        output_ = out[0];
        errors_ = err[0];
    }
    /// Starts the program at a terminal with this number of columns.
    RunningTool(const std::vector<std::string>& words, unsigned short columns) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = 24;
        child_ = ::forkpty(&output_, nullptr, nullptr, &size);
        if (child_ == 0) {
            ::setenv("TERM", "xterm", 1);
            ::unsetenv("NO_COLOR");
            exec(toolWith(words));
        }
    }
    /// Starts another program at a terminal.
    RunningTool(Command command, unsigned short columns) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = 24;
        child_ = ::forkpty(&output_, nullptr, nullptr, &size);
        if (child_ == 0) {
            ::setenv("TERM", "xterm", 1);
            exec(std::move(command.words));
        }
    }
    ~RunningTool() {
        for (const int descriptor : {input_, output_, errors_}) {
            if (descriptor >= 0) {
                ::close(descriptor);
            }
        }
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
        }
    }
    RunningTool(const RunningTool&) = delete;
    RunningTool& operator=(const RunningTool&) = delete;

    /// Writes all of standard input, and closes it.
    void writeInput(const std::string& text) {
        EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ::close(std::exchange(input_, -1));
    }
    /// Types a text at the terminal, or writes it to standard input.
    void type(const std::string& text) const {
        const int input = input_ >= 0 ? input_ : output_;
        EXPECT_EQ(::write(input, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// Closes the reading end of standard output.
    void closeOutput() { ::close(std::exchange(output_, -1)); }
    void signal(int number) const { EXPECT_EQ(::kill(child_, number), 0); }
    /// Reads until the output has the text.
    void awaitOutput(const std::string& text) {
        while (out.find(text) == std::string::npos) {
            ASSERT_TRUE(readMore(output_, out)) << "no '" << text << "' in\n" << out << err;
        }
    }
    /// Waits until the program ends. Returns its exit status, or the negative number of the signal
    /// that ended it. `out` and `err` have its output.
    int wait() {
        while (output_ >= 0 && readMore(output_, out)) {
        }
        while (errors_ >= 0 && readMore(errors_, err)) {
        }
        int status = 0;
        ::waitpid(std::exchange(child_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    std::string out;
    std::string err;

private:
    static std::vector<std::string> toolWith(const std::vector<std::string>& words) {
        std::vector<std::string> all = {"/bin/sh", "-c", "exec " KOVA_TOOL " \"$@\"", "sh"};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }
    [[noreturn]] static void exec(std::vector<std::string> words) {
        std::vector<char*> all;
        for (std::string& word : words) {
            all.push_back(word.data());
        }
        all.push_back(nullptr);
        ::signal(SIGPIPE, SIG_DFL);
        ::execvp(all[0], all.data());
        ::_exit(127);
    }
    static bool readMore(int descriptor, std::string& text) {
        std::array<char, 4096> block;
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        text.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }

    pid_t child_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
};

}  // namespace kova::test
