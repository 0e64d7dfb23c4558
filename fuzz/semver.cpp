// Versions: what is read prints and reads back, and the choice among offers is that of the rules,
// followed one after the other.
#include "kova/core/SemVer.h"
#include "support/Fuzz.h"
#include "support/VersionRules.h"

using namespace fuzz;
using namespace kova::semver;

namespace {

bool readsBack(const SemVer& version) {
    const std::optional<SemVer> again = toSemVer(version.toString());
    return again && again->toString() == version.toString();
}

void checkPair(const std::string& wanted, const std::string& offered) {
    require(getMostCompatible(wanted, offered) == rules::chooseOne(wanted, offered, false),
            "the choice of one");
    require(getMostBackwardCompatible(wanted, offered) == rules::chooseOne(wanted, offered, true),
            "backward only");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string wanted = input.line();
    const std::optional<SemVer> version = toSemVer(wanted);
    require(!version || readsBack(*version), "a version reads back");
    std::vector<std::string> offered;
    while (!input.isEmpty()) {
        checkPair(wanted, offered.emplace_back(input.line()));
    }
    const auto choice = getMostCompatible(wanted, offered, false);
    require(choice == rules::choose(wanted, offered, false), "the choice among many");
    require(getMostCompatible(wanted, offered, true) == rules::choose(wanted, offered, true),
            "backward only");
    require(getMostCompatible(wanted, offered) == choice, "which is not backward only by default");
    const std::vector<std::string> twice(choice ? 2 : 0, choice.value_or(""));
    require(getMostCompatibleVector({wanted, wanted}, offered) == twice, "many choices");
    return 0;
}
