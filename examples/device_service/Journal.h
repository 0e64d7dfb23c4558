#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>

namespace device {

/// Exit statuses of the program. If several requests fail, the highest status is returned.
namespace exitstatus {

constexpr int ANSWERED = 0;
constexpr int NOT_STARTED = 1;  ///< No request was sent, or a line of input is too long.
constexpr int MISUSED = 2;      ///< The command line or a line of input is invalid.
constexpr int REFUSED = 4;      ///< An answer had a code from 400 to 499.
constexpr int FAILED = 5;       ///< An answer had a code of 500 or more, or was missing.

}  // namespace exitstatus

/// The output of the console. It also counts the events of requests and remembers the worst exit
/// status. Thread-safe.
class Journal {
public:
    /// Prints everything to `out`. With `errors` it is quiet: it prints only payloads to `out`, and
    /// the reasons of errors to `errors`. Both must outlive the journal.
    explicit Journal(std::ostream& out, std::ostream* errors = nullptr)
        : out_(out), errors_(errors != nullptr ? *errors : out), quiet_(errors != nullptr) {}

    /// Prints a line about the progress of the console; nothing if quiet.
    void say(const std::string& text);
    /// Prints the reason why something was not done.
    void complain(const std::string& reason, int status);
    /// @{
    /// Print an event of a request, and count it: the complete line; if quiet, only the payload
    /// unless it is empty, or the reason of an error.
    void show(const std::string& line, const std::string& payload);
    void fail(const std::string& line, const std::string& reason, int status);
    /// @}

    /// Returns the exit status for the worst error so far.
    int exitStatus();
    /// Forgets the events counted so far.
    void resetCount();
    /// Waits for `count` events, at most ten seconds or until `interrupted` returns true, and
    /// forgets them. Complains if they did not come.
    void awaitEvents(unsigned long count, const std::function<bool()>& interrupted);

private:
    std::ostream& out_;
    std::ostream& errors_;
    const bool quiet_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int exitStatus_ = exitstatus::ANSWERED;
    unsigned long events_ = 0;
};

}  // namespace device
