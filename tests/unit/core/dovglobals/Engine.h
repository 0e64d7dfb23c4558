#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Outcome.h"

namespace kova::test {

/// What the groups of a match hold, the whole match first; nothing for one that took no part. Empty
/// when there is no match.
using Groups = std::vector<std::string>;

/// The standard library's regular expressions with the ECMAScript grammar, in a source of their own
/// because they take long to compile.
class Engine {
public:
    explicit Engine(char const* expression);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Matches the whole of `text`.
    Groups match(const std::string& text) const;

private:
    struct Compiled;
    std::unique_ptr<Compiled> compiled_;
};

/// Texts near `texts`: each of them with every character inserted, replaced and removed, and some
/// thousands with several changes, mostly of digits. The same ones on every run.
std::vector<std::string> variationsOf(const std::vector<std::string>& texts);

/// Proves that `parse` does what the engine does with `expression`: for all variations of `texts`,
/// what came of it (see `outcomeOf`) is what `reference` makes of the groups of a match, and the
/// refusal of `type` where there is no match.
template <typename Parse, typename Show, typename Reference>
void expectAsEngine(const std::string& type, char const* expression,
                    const std::vector<std::string>& texts, Parse parse, Show show,
                    Reference reference) {
    const Engine engine(expression);
    const std::vector<std::string> variations = variationsOf(texts);
    Reports reports;
    std::size_t matches = 0;
    for (const std::string& text : variations) {
        const Groups groups = engine.match(text);
        ASSERT_EQ(outcomeOf(reports, parse(text), show),
                  groups.empty() ? mismatch(type) : reference(groups))
            << "text: " << testing::PrintToString(text);
        matches += groups.empty() ? 0 : 1;
    }
    EXPECT_GT(matches, variations.size() / 20);
    EXPECT_LT(matches, variations.size() * 3 / 4);
}

/// The same for a type of which `show` is its text.
template <typename Parse, typename Reference>
void expectAsEngine(const std::string& type, char const* expression,
                    const std::vector<std::string>& texts, Parse parse, Reference reference) {
    expectAsEngine(
        type, expression, texts, parse, [](const auto& value) { return value.toString(); },
        reference);
}

}  // namespace kova::test
