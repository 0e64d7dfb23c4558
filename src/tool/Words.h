#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Context.h"

namespace kova::tool {

/// The words of the program: each is a subcommand with its options, its help and its function.
class Words {
public:
    /// Executes the word with its parsed options. Returns the exit status.
    using Action = std::function<int(const Context&)>;

    /// Adds the words to the parser, which must outlive the object.
    explicit Words(CLI::App& app) : app_(app) {}

    /// Adds a word. `examples` has one command a line.
    CLI::App& add(const std::string& name, const std::string& summary,
                  const std::vector<std::string>& examples);
    /// Sets the function of a word.
    void onSelected(CLI::App& word, Action action);
    /// Returns the function of the word that the command line has selected; null before parsing.
    const Action& selected() const noexcept { return selected_; }

private:
    CLI::App& app_;
    Action selected_;
};

/// The options of words that use a service.
struct ServiceOptions {
    /// The text of the service, for resources without one.
    std::string to;
    /// The deadline of a request; 0 for no limit.
    std::chrono::milliseconds deadline{30000};

    /// Adds the options to the word.
    void addTo(CLI::App& word);
};

/// Adds an option whose value is a time, with the text of its default.
CLI::Option* addTime(CLI::App& word, const std::string& name, std::chrono::milliseconds& time,
                     const std::string& description);

/// @{
/// Adds words of the program.
void addRequests(Words& words);
/// @}

}  // namespace kova::tool
