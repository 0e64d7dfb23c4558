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

    /// Executes one line, or rejects it. Returns false if the line is the command to quit.
    bool execute(const std::string& line);

private:
    /// A command word and the function that executes it with the rest of the line.
    struct Word {
        char const* name;
        void (Console::*run)(const std::string& name, const std::string& rest);
    };
    static const Word WORDS[];
    static std::string knownWords();

    void ask(const std::string& command, const std::string& rest);
    void list(const std::string& name, const std::string& rest);
    void cancel(const std::string& name, const std::string& rest);
    void wait(const std::string& name, const std::string& rest);
    void accept(const std::string& name, const std::string& rest);
    void shutdown(const std::string& name, const std::string& rest);
    void showHelp(const std::string& name, const std::string& rest);
    void quit(const std::string& name, const std::string& rest);

    Client& client_;
    std::string mimeType_;
    bool quits_ = false;
};

}  // namespace device
