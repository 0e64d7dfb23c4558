// Selects the best of the versions that a service offers.
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/SemVer.h"

namespace semver = kova::semver;

std::string shown(const std::optional<std::string>& version) {
    return version.value_or("nothing");
}

int main() {
    const std::vector<std::string> offered = {"1.9.0", "2.1.0", "2.4.1", "2.5.0", "2.5.0@beta"};

    for (char const* wanted : {"2.4.1", "2.3.0", "2.7.0", "1.0.0", "3.0.0", "2.0.0@beta"}) {
        std::cout << "wanted " << wanted << ": "
                  << shown(semver::getMostCompatible(wanted, offered)) << ", never a lower one: "
                  << shown(semver::getMostCompatible(wanted, offered, true)) << '\n';
    }

    // A client that supports several versions lists them in order of preference.
    const std::vector<std::string> spoken = {"3.0.0", "2.5.0", "1.9.0"};
    std::cout << "the first that fits: " << shown(semver::getMostCompatible(spoken, offered))
              << '\n';
    std::cout << "all that fit:";
    for (const std::string& version : semver::getMostCompatibleVector(spoken, offered)) {
        std::cout << ' ' << version;
    }
    std::cout << '\n';

    // Before 1.0.0, minor versions are incompatible with each other: 0.4.2 is compared as 4.2.0.
    std::cout << "0.4.0 with 0.4.2: " << shown(semver::getMostCompatible("0.4.0", "0.4.2")) << '\n';
    std::cout << "0.4.0 with 0.5.0: " << shown(semver::getMostCompatible("0.4.0", "0.5.0")) << '\n';

    const auto version = semver::toSemVer("2.5.0@beta");
    std::cout << "major " << version->major << ", branch " << version->branch << '\n';
    std::cout << "\"2.5\" is " << (semver::toSemVer("2.5") ? "a" : "no") << " version\n";
}
