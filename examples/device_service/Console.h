#pragma once

#include <string>

#include "Client.h"

namespace device {

/// Interprets lines of text as commands for a client. Must be called from one thread.
class Console {
public:
    /// `client` must outlive the console.
    explicit Console(Client& client);

    /// Returns a description of the commands for the user.
    static char const* help();

    /// Executes one line. Returns false if the line is the command to quit.
    bool execute(const std::string& line);

private:
    void ask(const std::string& command, const std::string& rest);
    void cancel(const std::string& which);
    void wait(const std::string& count);
    void accept(const std::string& type);

    Client& client_;
    std::string mimeType_;
};

}  // namespace device
