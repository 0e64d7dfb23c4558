#pragma once

#include <string>

#include "Client.h"
#include "kova/core/MimeTypes.h"

namespace device {

/// Interprets lines of text as commands for a client. Must be called from one thread.
class Console {
public:
    /// `client` must outlive the console.
    explicit Console(Client& client) : client_(client) {}

    /// Returns a description of the commands for the user.
    static char const* help();

    /// Executes one line, or rejects it. Returns false if the line is the command to quit.
    bool execute(const std::string& line);

private:
    void ask(const std::string& command, std::string rest);
    void accept(const std::string& type);

    Client& client_;
    std::string mimeType_ = kova::mimetypes::JSON_TYPE;
};

}  // namespace device
