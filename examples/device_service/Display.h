#pragma once

#include <iosfwd>
#include <string>

namespace device {

/// What a user sees of a client: everything on one stream or, if quiet, only payloads on that
/// stream and what went wrong on another one. Not synchronized: the client calls it under its lock.
class Display {
public:
    /// Shows everything on `out`, which must outlive the display.
    explicit Display(std::ostream& out) : out_(out), errors_(out) {}
    /// Shows payloads on `out`, and what goes wrong on `errors`; both must outlive the display.
    Display(std::ostream& out, std::ostream& errors) : out_(out), errors_(errors), quiet_(true) {}

    /// Shows a line about the progress of the client.
    void say(const std::string& text);
    /// Shows an answer: the whole line, or only the payload, unless that is empty.
    void show(const std::string& line, const std::string& payload);
    /// Shows a line about what went wrong.
    void complain(const std::string& text);
    /// Shows what went wrong with a request: the whole line, or only the reason.
    void complain(const std::string& line, const std::string& reason);

private:
    std::ostream& out_;
    std::ostream& errors_;
    bool quiet_ = false;
};

}  // namespace device
