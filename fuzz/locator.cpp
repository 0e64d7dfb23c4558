// Parsing the URI of a locator produces the same locator, with its service instance and the
// elements of its resource path.
#include "kova/core/Path.h"
#include "kova/core/ResourceLocator.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;
using kova::ResourceLocator;

namespace {

void check(const ResourceLocator& locator, const Path& resource) {
    const auto back = ResourceLocator::fromUri(locator.toUri());
    require(ResourceLocator::isResourceLocator(locator.toUri()),
            "the URI of a locator is recognized");
    require(back.has_value(), "the URI of a locator can be parsed");
    requireEqual(back->toString(), locator.toString(), "the parsed locator has the same text");
    require(back->getServiceInstance() == locator.getServiceInstance(),
            "the parsed locator has the same instance");
    requireEqual(locator.getElementId(1), resource.at(Path::NPOS),
                 "getElementId(1) returns the last part");
    requireEqual(locator.getResourcePrefix(0), '/' + resource.subpath(0, Path::NPOS),
                 "getResourcePrefix(0) returns the whole path");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string base = input.line();
    const std::string instance = input.line();
    const std::string resource = input.line();
    if (!lacks(base + instance, "$?#[@") || !lacks(resource, "?#[@") || base.rfind("//", 0) == 0) {
        return 0;
    }
    const auto locator = ResourceLocator::fromPathsWithInstance(base, instance, resource);
    // With a service path that begins with "//", the URI has an authority.
    if (locator.getServicePath()->rfind("//", 0) != 0) {
        check(locator, Path(resource));
    }
    return 0;
}
