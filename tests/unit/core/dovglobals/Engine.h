#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Outcome.h"

namespace kova::test {

/// The texts of the groups of a match; the first group is the whole match. A group that did not
/// participate has an empty text. The list is empty if the expression does not match.
using Groups = std::vector<std::string>;

/// A compiled regular expression of the standard library with the ECMAScript grammar. It is
/// implemented in Engine.cpp because <regex> takes long to compile.
class Engine {
public:
    explicit Engine(char const* expression);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Matches the whole of `text` and returns the groups.
    Groups match(const std::string& text) const;

private:
    struct Compiled;
    std::unique_ptr<Compiled> compiled_;
};

/// Returns variations of `texts`: each text with one character inserted, replaced or removed, and
/// 3000 texts with several changes, most of them of digits. The result is the same on every run.
std::vector<std::string> variationsOf(const std::vector<std::string>& texts);

/// Expects that `parse` agrees with the engine and `expression` on all variations of `texts`. If
/// the expression matches, the expected outcome (see `outcomeOf`) is the result of `reference` for
/// the groups of the match. Otherwise it is the mismatch report of `type`.
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

/// Does the same; values are shown by `toString`.
template <typename Parse, typename Reference>
void expectAsEngine(const std::string& type, char const* expression,
                    const std::vector<std::string>& texts, Parse parse, Reference reference) {
    expectAsEngine(
        type, expression, texts, parse, [](const auto& value) { return value.toString(); },
        reference);
}

}  // namespace kova::test
