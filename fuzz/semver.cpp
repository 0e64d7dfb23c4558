// Versions: parsing the text of a parsed version produces the same version. The choice among
// offered versions is that of the reference implementation.
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
            "one offered version is chosen as by the reference");
    require(getMostBackwardCompatible(wanted, offered) == rules::chooseOne(wanted, offered, true),
            "one backward compatible version is chosen as by the reference");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string wanted = input.line();
    const std::optional<SemVer> version = toSemVer(wanted);
    require(!version || readsBack(*version), "the text of a version can be parsed again");
    std::vector<std::string> offered;
    while (!input.isEmpty()) {
        checkPair(wanted, offered.emplace_back(input.line()));
    }
    const auto choice = getMostCompatible(wanted, offered, false);
    require(choice == rules::choose(wanted, offered, false),
            "one of several versions is chosen as by the reference");
    require(getMostCompatible(wanted, offered, true) == rules::choose(wanted, offered, true),
            "one of several backward compatible versions is chosen as by the reference");
    require(getMostCompatible(wanted, offered) == choice,
            "the default is not restricted to backward compatible versions");
    const std::vector<std::string> twice(choice ? 2 : 0, choice.value_or(""));
    require(getMostCompatibleVector({wanted, wanted}, offered) == twice,
            "each of several wanted versions is chosen independently");
    return 0;
}
