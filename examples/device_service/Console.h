#pragma once

#include <string>

#include "Client.h"

namespace device {

/// Turns lines of text into what a client does. Lines come from one thread.
class Console {
public:
    /// The client is borrowed.
    explicit Console(Client& client);

    /// The words that `execute` understands, for a user.
    static char const* help();

    /// Carries one line out. False when it asks to quit.
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
