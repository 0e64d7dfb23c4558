// Globs: compiled and matched at once, and matched with what was compiled before.
#include <benchmark/benchmark.h>
#include <fnmatch.h>

#include <memory>
#include <regex>
#include <string>

#include "kova/core/PathPatterns.h"
#include "support/Contest.h"
#ifdef KOVA_BENCH_PCRE2
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#endif
#ifdef KOVA_BENCH_RE2
#include <re2/re2.h>
#endif

namespace kova::bench {

namespace {

/// A glob, the expression that means the same, and a path that fits.
struct Case {
    char const* glob;
    char const* expression;
    char const* path;
    bool simple;  // without braces and "**", which fnmatch does not know
};
constexpr Case CASES[] = {
    {"/items/*/state", "/items/([^/]*)/state", "/items/4711/state", true},
    {"/a/{b,c}/**", "/a/(b|c)/(.*)", "/a/c/one/two/three", false},
    {"/a/?.txt", "/a/([^/])\\.txt", "/a/x.txt", true},
    {"/x/[!0-9]*", "/x/[^0-9]([^/]*)", "/x/abcdef", true},
};

/// Enters both rows of a case: `compile(expression)` gives an object to match with.
template <typename Compile, typename Match>
void enter(const Case& each, char const* contestant, char const* source, Compile compile,
           Match match) {
    contest(std::string("compile and match ") + each.glob, contestant, [=, path = each.path] {
        return [=, text = std::string(path)] { return match(compile(source), text); };
    });
    contest(std::string("match ") + each.glob, contestant, [=, path = each.path] {
        return [=, compiled = compile(source), text = std::string(path)] {
            return match(compiled, text);
        };
    });
}

#ifdef KOVA_BENCH_PCRE2
template <bool JIT>
class Pcre2 {
public:
    explicit Pcre2(char const* expression) {
        int error = 0;
        PCRE2_SIZE offset = 0;
        code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expression), PCRE2_ZERO_TERMINATED,
                                  PCRE2_ANCHORED | PCRE2_ENDANCHORED, &error, &offset, nullptr),
                    pcre2_code_free);
        if (JIT) {
            pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE);
        }
        data_.reset(pcre2_match_data_create(4, nullptr), pcre2_match_data_free);
    }
    bool match(const std::string& text) const {
        return pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0,
                           0, data_.get(), nullptr) >= 0;
    }

private:
    std::shared_ptr<pcre2_code> code_;
    std::shared_ptr<pcre2_match_data> data_;
};

template <bool JIT>
void enterPcre2(const Case& each, char const* contestant) {
    enter(
        each, contestant, each.expression, [](char const* text) { return Pcre2<JIT>(text); },
        [](const Pcre2<JIT>& compiled, const std::string& path) { return compiled.match(path); });
}
#endif

void enterPeers(const Case& each) {
    enter(
        each, "std::regex", each.expression, [](char const* text) { return std::regex(text); },
        [](const std::regex& compiled, const std::string& path) {
            return std::regex_match(path, compiled);
        });
    if (each.simple) {
        contest(std::string("match ") + each.glob, "fnmatch",
                [each] { return [each] { return fnmatch(each.glob, each.path, FNM_PATHNAME); }; });
    }
#ifdef KOVA_BENCH_PCRE2
    enterPcre2<false>(each, "PCRE2");
    enterPcre2<true>(each, "PCRE2 JIT");
#endif
#ifdef KOVA_BENCH_RE2
    enter(
        each, "RE2", each.expression, [](char const* text) { return std::make_shared<RE2>(text); },
        [](const std::shared_ptr<RE2>& compiled, const std::string& path) {
            return RE2::FullMatch(path, *compiled);
        });
#endif
}

const Entries ENTRIES([] {
    for (const Case& each : CASES) {
        enter(
            each, "kova", each.glob, [](char const* glob) { return PathPatterns(glob); },
            [](const PathPatterns& compiled, const std::string& path) {
                return compiled.match(path);
            });
        enterPeers(each);
    }
});

}  // namespace

}  // namespace kova::bench
