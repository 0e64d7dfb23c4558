#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <vector>

#include "ReferenceGlob.h"
#include "kova/core/PathPatterns.h"

// Compares `PathPatterns` with the standard library's engine. Both must reject the same globs with
// the same texts, and match the same paths. Testing all globs of up to 5 characters takes a few
// minutes, because the engine is slow. Therefore the longer globs are sampled, unless the
// environment variable KOVA_ALL_GLOBS is set.

namespace {

using kova::PathPatterns;
using kova::test::ReferenceByteGlob;
using kova::test::ReferenceGlob;

constexpr std::string_view GLOB_ALPHABET = "ab/*?[]!-{},\\|";
constexpr std::string_view PATH_ALPHABET = "ab/-";
constexpr std::size_t PATH_LENGTH = 4;

std::uint64_t power(std::uint64_t base, std::size_t exponent) {
    return exponent == 0 ? 1 : base * power(base, exponent - 1);
}

// Returns the text number `index` of all texts of `length` characters, in the order of the
// alphabet.
std::string textAt(std::string_view alphabet, std::size_t length, std::uint64_t index) {
    std::string text;
    for (; text.size() < length; index /= alphabet.size()) {
        text += alphabet[index % alphabet.size()];
    }
    return text;
}

std::vector<std::string> allPaths() {
    std::vector<std::string> paths;
    for (std::size_t length = 0; length <= PATH_LENGTH; ++length) {
        for (std::uint64_t i = 0; i < power(PATH_ALPHABET.size(), length); ++i) {
            paths.push_back(textAt(PATH_ALPHABET, length, i));
        }
    }
    return paths;
}

std::optional<PathPatterns> create(const std::string& glob, std::string& error) {
    try {
        return PathPatterns(glob);
    } catch (const std::invalid_argument& thrown) {
        error = std::string("malformed: ") + thrown.what();
    } catch (const std::regex_error& thrown) {
        error = std::string("not an expression: ") + thrown.what();
    }
    return std::nullopt;
}

/// Compares globs with a reference and counts the outcomes.
struct Comparison {
    std::uint64_t accepted = 0;
    std::uint64_t rejected = 0;
    std::uint64_t matched = 0;

    template <typename Reference>
    void compare(const std::string& glob, const std::vector<std::string>& paths) {
        const Reference reference(glob);
        std::string error;
        const std::optional<PathPatterns> patterns = create(glob, error);
        ASSERT_EQ(error, reference.error()) << testing::PrintToString(glob);
        if (!patterns) {
            ++rejected;
            return;
        }
        ++accepted;
        for (const std::string& path : paths) {
            const bool expected = reference.match(path);
            ASSERT_EQ(patterns->match(path), expected)
                << testing::PrintToString(glob) << ' ' << testing::PrintToString(path);
            matched += expected ? 1 : 0;
        }
    }
};

class GlobsOfLength : public testing::TestWithParam<std::size_t> {};

TEST_P(GlobsOfLength, MatchStdRegex) {
    constexpr std::uint64_t SAMPLE = 8000;
    const std::size_t length = GetParam();
    const std::uint64_t count = power(GLOB_ALPHABET.size(), length);
    const bool all = count <= SAMPLE || std::getenv("KOVA_ALL_GLOBS") != nullptr;
    const std::vector<std::string> paths = allPaths();
    std::mt19937_64 random(length);
    Comparison comparison;
    for (std::uint64_t i = 0; i < (all ? count : SAMPLE); ++i) {
        const std::uint64_t index = all ? i : random() % count;
        comparison.compare<ReferenceGlob>(textAt(GLOB_ALPHABET, length, index), paths);
        if (HasFatalFailure()) {
            return;
        }
    }
    std::printf("%ju accepted, %ju rejected, %ju matches\n",
                static_cast<std::uintmax_t>(comparison.accepted),
                static_cast<std::uintmax_t>(comparison.rejected),
                static_cast<std::uintmax_t>(comparison.matched));
    EXPECT_GT(comparison.matched, 0U);
}

INSTANTIATE_TEST_SUITE_P(Small, GlobsOfLength, testing::Range<std::size_t>(0, 6));

// Longer globs with unusual bracket items and bytes of all values.
TEST(GlobExhaustiveTest, RandomGlobsMatchStdRegex) {
    const std::vector<std::string> pieces = {"a",
                                             "b",
                                             "z",
                                             "0",
                                             "/",
                                             "*",
                                             "**",
                                             "?",
                                             "[",
                                             "]",
                                             "[!",
                                             "[^",
                                             "-",
                                             "!",
                                             "^",
                                             ":",
                                             "=",
                                             ".",
                                             "{",
                                             "}",
                                             ",",
                                             "\\",
                                             "|",
                                             "[[:",
                                             ":]",
                                             "a-z]",
                                             "[a-\xFF]",
                                             "[\x80-",
                                             "[a-]",
                                             "[[:w:]",
                                             "[[:alpha:]",
                                             "[[=a=]",
                                             "[[.a.]",
                                             "[.hyphen.]-",
                                             "\n",
                                             "\r",
                                             "\x80",
                                             "\xFF",
                                             "$",
                                             "+",
                                             "(",
                                             ")",
                                             std::string(1, '\0')};
    const std::string characters("ab/z0-[]^:=.(|)!*\n\r\x80\xFF\\\0_A", 25);
    std::mt19937 random(7);
    Comparison comparison;
    for (int i = 0; i < 30000; ++i) {
        std::string glob;
        for (std::size_t count = 1 + random() % 10; count > 0; --count) {
            glob += pieces[random() % pieces.size()];
        }
        std::vector<std::string> paths = {"", glob};
        while (paths.size() < 12) {
            std::string path;
            for (std::size_t count = random() % 5; count > 0; --count) {
                path += random() % 2 == 0 ? characters[random() % characters.size()]
                                          : glob[random() % glob.size()];
            }
            paths.push_back(std::move(path));
        }
        comparison.compare<ReferenceByteGlob>(glob, paths);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_GT(comparison.accepted, 2500U);
    EXPECT_GT(comparison.rejected, 2500U);
    EXPECT_GT(comparison.matched, 2500U);
}

}  // namespace
