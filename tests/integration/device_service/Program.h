#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace device::test {

using Arguments = std::vector<std::string>;

// Replaces this process by the program, which runs in `folder`.
[[noreturn]] inline void become(const std::string& folder, const Arguments& arguments) {
    std::vector<char const*> words = {"sh", "-c", "exec " DEVICE_SERVICE " \"$@\"", "sh"};
    for (const std::string& argument : arguments) {
        words.push_back(argument.c_str());
    }
    words.push_back(nullptr);
    if (chdir(folder.c_str()) == 0) {
        execv("/bin/sh", const_cast<char**>(words.data()));
    }
    _exit(127);
}

/// The running program. The test reads its standard output and error, unless they go to the file
/// `log`.
class Program {
public:
    Program(const std::string& folder, const Arguments& arguments, char const* log = nullptr) {
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
        child_ = fork();
        if (child_ == 0) {
            const int target = log == nullptr ? out[1] : open(log, O_WRONLY | O_CLOEXEC);
            dup2(target, STDOUT_FILENO);
            dup2(target, STDERR_FILENO);
            become(folder, arguments);
        }
        close(out[1]);
        output_ = out[0];
    }
    ~Program() {
        close(output_);
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void signal(int number) const {
        ASSERT_GT(child_, 0);
        kill(child_, number);
    }
    /// Reads until the output contains the text after the previously awaited one.
    void awaitOutput(const std::string& text) {
        std::size_t found = output().find(text, seen_);
        while (found == std::string::npos && readMore()) {
            found = output().find(text, seen_);
        }
        ASSERT_NE(found, std::string::npos) << "no '" << text << "' in\n" << output();
        seen_ = found + text.size();
    }
    /// Waits until the program ends. Returns its exit status, or -1 if a signal ended it.
    int wait() {
        while (readMore()) {
        }
        int status = 0;
        waitpid(std::exchange(child_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// Returns the output read so far.
    const std::string& output() const { return text_; }

private:
    bool readMore() {
        char buffer[4096];
        const ssize_t count = read(output_, buffer, sizeof(buffer));
        text_.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }

    pid_t child_ = -1;
    int output_ = -1;
    std::string text_;
    std::size_t seen_ = 0;
};

}  // namespace device::test
