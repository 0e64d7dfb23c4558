// Globs: compiling and matching together, and matching with a compiled glob.
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

/// A glob, an equivalent regular expression, and a path.
struct Case {
    char const* glob;
    char const* expression;
    std::string path;
};
const Case CASES[] = {
    {"/items/*/state", "/items/([^/]*)/state", "/items/4711/state"},
    {"/a/{b,c}/**", "/a/(b|c)/(.*)", "/a/c/one/two/three"},
    {"/a/?.txt", "/a/([^/])\\.txt", "/a/x.txt"},
    {"/x/[!0-9]*", "/x/[^0-9]([^/]*)", "/x/abcdef"},
};

// Cases for which std::regex would recurse too deeply, or backtrack for seconds. In the last path,
// a "/" before the "y" prevents a match, so that all stars are tried.
constexpr std::size_t MILLION = 1'000'000;
const Case LONG_CASES[] = {
    {"/a/**", "/a/(.*)", "/a/" + std::string(MILLION, 'b')},
    {"/**/b", "/(.*)/b", "/" + std::string(MILLION, 'b') + "/b"},
    {"/*x*x*x*y", "/([^/]*)x([^/]*)x([^/]*)x([^/]*)y", "/" + std::string(253, 'x') + "/y"},
};

class Kova {
public:
    explicit Kova(const Case& each) : patterns_(each.glob) {}
    bool match(const std::string& text) const { return patterns_.match(text); }

private:
    PathPatterns patterns_;
};

class StdRegex {
public:
    explicit StdRegex(const Case& each) : regex_(each.expression) {}
    bool match(const std::string& text) const { return std::regex_match(text, regex_); }

private:
    std::regex regex_;
};

#ifdef KOVA_BENCH_PCRE2
template <bool JIT>
class Pcre2 {
public:
    explicit Pcre2(const Case& each) {
        int error = 0;
        PCRE2_SIZE offset = 0;
        code_.reset(
            pcre2_compile(reinterpret_cast<PCRE2_SPTR>(each.expression), PCRE2_ZERO_TERMINATED,
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
#endif

#ifdef KOVA_BENCH_RE2
class Re2 {
public:
    explicit Re2(const Case& each) : re2_(std::make_shared<RE2>(each.expression)) {}
    bool match(const std::string& text) const { return RE2::FullMatch(text, *re2_); }

private:
    std::shared_ptr<RE2> re2_;
};
#endif

template <typename Engine>
void enterMatch(const Case& each, const std::string& caseName, char const* contestant,
                std::size_t bytes = 0) {
    contest(
        caseName, contestant,
        [&each] { return [&each, engine = Engine(each)] { return engine.match(each.path); }; },
        bytes);
}

/// Registers an engine for both cases of a glob: compiling and matching, and only matching.
template <typename Engine>
void enter(const Case& each, char const* contestant) {
    contest(std::string("compile and match ") + each.glob, contestant,
            [&each] { return [&each] { return Engine(each).match(each.path); }; });
    enterMatch<Engine>(each, std::string("match ") + each.glob, contestant);
}

template <typename Engine>
void enterLong(const Case& each, char const* contestant) {
    const std::string size =
        each.path.size() < MILLION ? std::to_string(each.path.size()) : "a million";
    enterMatch<Engine>(each, std::string("match ") + each.glob + " on " + size + " characters",
                       contestant, each.path.size());
}

void enterFnmatch(const Case& each) {
    if (std::string(each.glob).find_first_of("{}") == std::string::npos) {
        contest(std::string("match ") + each.glob, "fnmatch", [&each] {
            return [&each] { return fnmatch(each.glob, each.path.c_str(), FNM_PATHNAME); };
        });
    }
}

const Entries ENTRIES([] {
    for (const Case& each : CASES) {
        enter<Kova>(each, "kova");
        enter<StdRegex>(each, "std::regex");
        enterFnmatch(each);
#ifdef KOVA_BENCH_PCRE2
        enter<Pcre2<false>>(each, "PCRE2");
        enter<Pcre2<true>>(each, "PCRE2 JIT");
#endif
#ifdef KOVA_BENCH_RE2
        enter<Re2>(each, "RE2");
#endif
    }
    for (const Case& each : LONG_CASES) {
        enterLong<Kova>(each, "kova");
#ifdef KOVA_BENCH_PCRE2
        enterLong<Pcre2<false>>(each, "PCRE2");
        enterLong<Pcre2<true>>(each, "PCRE2 JIT");
#endif
#ifdef KOVA_BENCH_RE2
        enterLong<Re2>(each, "RE2");
#endif
    }
});

}  // namespace

}  // namespace kova::bench
