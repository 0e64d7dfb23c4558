#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "Context.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

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

/// The options of words that send one request.
struct ServiceOptions {
    /// The service to use for resource arguments that do not name one.
    std::string to;
    /// The deadline of a request; 0 for no limit.
    std::chrono::milliseconds deadline{30000};

    /// Adds the options to the word.
    void addTo(CLI::App& word);
};

/// Adds the option --to: the service to use for resource arguments that do not name one.
void addService(CLI::App& word, std::string& to);

/// Adds an option whose value is a time.
CLI::Option* addTime(CLI::App& word, const std::string& name, std::chrono::milliseconds& time,
                     const std::string& description);

/// Adds the option for the deadline of a request.
void addDeadline(CLI::App& word, std::chrono::milliseconds& deadline);

/// @{
/// Adds words of the program.
void addRequests(Words& words);
void addWatch(Words& words);
void addServices(Words& words);
void addResources(Words& words);
void addInspection(Words& words);
void addPayloads(Words& words);
void addShell(Words& words);
void addBench(Words& words);
void addMonitor(Words& words);
void addRecord(Words& words);
void addReplay(Words& words);
void addMock(Words& words);
void addBridge(Words& words);
/// @}

}  // namespace kova::tool
