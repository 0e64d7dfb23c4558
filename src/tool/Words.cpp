#include "Words.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "Times.h"

namespace kova::tool {

CLI::App& Words::add(const std::string& name, const std::string& summary,
                     const std::vector<std::string>& examples) {
    CLI::App& word = *app_.add_subcommand(name, summary);
    std::string footer = "Examples:\n";
    for (const std::string& example : examples) {
        footer += "  " + example + '\n';
    }
    word.footer(footer);
    word.fallthrough();  // the options of the program may follow the word
    return word;
}

void Words::onSelected(CLI::App& word, Action action) {
    word.callback([this, action = std::move(action)] { selected_ = action; });
}

CLI::Option* addTime(CLI::App& word, const std::string& name, std::chrono::milliseconds& time,
                     const std::string& description) {
    const auto parse = [&time](const std::string& text) {
        const auto parsed = parseTime(text);
        if (!parsed) {
            throw CLI::ValidationError(parsed.error().message);
        }
        time = *parsed;
    };
    return word.add_option_function<std::string>(name, parse, description)->type_name("TIME");
}

void addService(CLI::App& word, std::string& to) {
    word.add_option(
            "--to", to,
            "the service: kova:/SERVICE, unix:SOCKET, http://HOST:PORT or nats://HOST/SERVICE")
        ->type_name("SERVICE")
        ->envname("KOVA_SERVICE");
}

void addDeadline(CLI::App& word, std::chrono::milliseconds& deadline) {
    addTime(word, "--deadline", deadline,
            "gives up after this time, such as 500ms; 0 for no limit [30s]");
}

void ServiceOptions::addTo(CLI::App& word) {
    addService(word, to);
    addDeadline(word, deadline);
}

}  // namespace kova::tool
