#pragma once

#include <ostream>
#include <string>

namespace device {

/// Prints the output of a client. A normal display prints everything to one stream. A quiet display
/// prints only payloads to that stream and errors to another one. Not synchronized: the client
/// calls it under its lock.
class Display {
public:
    /// Prints everything to `out`, which must outlive the display.
    explicit Display(std::ostream& out) : out_(out), errors_(out) {}
    /// Prints payloads to `out` and errors to `errors`. Both must outlive the display.
    Display(std::ostream& out, std::ostream& errors) : out_(out), errors_(errors), quiet_(true) {}

    /// Prints a line about the progress of the client; nothing if quiet.
    void say(const std::string& text) {
        if (!quiet_) {
            out_ << text << std::endl;
        }
    }
    /// Prints a response: the complete line; if quiet, only the payload unless it is empty.
    void show(const std::string& line, const std::string& payload) {
        if (!quiet_ || !payload.empty()) {
            out_ << (quiet_ ? payload : line) << std::endl;
        }
    }
    /// Prints an error: the complete line; if quiet, only the reason.
    void complain(const std::string& line, const std::string& reason) {
        errors_ << (quiet_ ? reason : line) << std::endl;
    }

private:
    std::ostream& out_;
    std::ostream& errors_;
    bool quiet_ = false;
};

}  // namespace device
