// Looking up the enumerator of a text, and choosing the most compatible version.
#include <benchmark/benchmark.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kova/core/SemVer.h"
#include "kova/core/dovglobals/Language.h"
#include "support/Contest.h"
#include "support/Inputs.h"

namespace kova::bench {

namespace {

using dovglobals::Language;

/// Returns the texts of all languages, in the order of their enumerators.
std::vector<std::string> languages() {
    std::vector<std::string> texts;
    for (int i = 0;; ++i) {
        const auto text = dovglobals::enumToValue(static_cast<Language>(i));
        if (!text) {
            return texts;
        }
        texts.push_back(*text);
    }
}

std::vector<std::string> askedLanguages() {
    std::vector<std::string> texts = languages();
    Random().shuffle(texts);
    return texts;
}

template <typename Map>
auto lookUpIn() {
    Map map;
    for (std::size_t i = 0; i < languages().size(); ++i) {
        map.emplace(languages()[i], static_cast<Language>(i));
    }
    return each(askedLanguages(),
                [map = std::move(map)](const std::string& text) { return map.find(text)->second; });
}

void enterLanguages() {
    const std::string caseName = "language of a text";
    contest(caseName, "kova", [] { return each(askedLanguages(), dovglobals::valueToLanguage); });
    contest(caseName, "linear", [] {
        return each(askedLanguages(), [all = languages()](const std::string& text) {
            return std::find(all.begin(), all.end(), text) - all.begin();
        });
    });
    contest(caseName, "std::map", [] { return lookUpIn<std::map<std::string, Language>>(); });
    contest(caseName, "std::unordered_map",
            [] { return lookUpIn<std::unordered_map<std::string, Language>>(); });
    contest("text of a language", "kova", [] {
        std::vector<Language> values;
        for (std::size_t i = 0; i < languages().size(); ++i) {
            values.push_back(static_cast<Language>(i));
        }
        return each(values, [](Language value) { return dovglobals::enumToValue(value); });
    });
}

std::vector<std::string> versions(int count) {
    Random random;
    std::vector<std::string> texts;
    for (int i = 0; i < count; ++i) {
        texts.push_back(fmt::format("{}.{}.{}", random.number(1, 4), random.number(0, 30),
                                    random.number(0, 30)));
    }
    return texts;
}

/// Makes the same choice as `semver::getMostCompatible("2.15.31", offered)` in one loop, for
/// versions of the form that `versions` returns.
std::string choosePlainly(const std::vector<std::string>& offered) {
    using Numbers = std::tuple<unsigned, unsigned, unsigned>;
    const Numbers wanted(2, 15, 31);
    Numbers above(~0U, 0, 0);
    Numbers highest(0, 0, 0);
    for (const std::string& text : offered) {
        unsigned parts[3] = {0, 0, 0};
        unsigned* part = parts;
        for (const char c : text) {
            if (c == '.') {
                ++part;
            } else {
                *part = *part * 10 + static_cast<unsigned>(c - '0');
            }
        }
        const Numbers numbers(parts[0], parts[1], parts[2]);
        if (parts[0] == 2) {
            above = numbers > wanted ? std::min(above, numbers) : above;
            highest = std::max(highest, numbers);
        }
    }
    const auto& [major, minor, patch] = std::get<0>(above) == 2 ? above : highest;
    return fmt::format("{}.{}.{}", major, minor, patch);
}

void enterVersions() {
    for (const int count : {10, 100, 1000}) {
        const std::string caseName = fmt::format("best of {} versions", count);
        contest(caseName, "kova", [=] {
            return [offered = versions(count)] {
                return semver::getMostCompatible("2.15.31", offered);
            };
        });
        contest(caseName, "plain",
                [=] { return [offered = versions(count)] { return choosePlainly(offered); }; });
    }
}

const Entries ENTRIES([] {
    enterLanguages();
    enterVersions();
});

}  // namespace

}  // namespace kova::bench
