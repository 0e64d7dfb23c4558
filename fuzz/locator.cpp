// A locator comes back from its URI, with its instance and the elements of its resource.
#include "kova/core/Path.h"
#include "kova/core/ResourceLocator.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;
using kova::ResourceLocator;

namespace {

void check(const ResourceLocator& locator, const Path& resource) {
    const auto back = ResourceLocator::fromUri(locator.toUri());
    require(ResourceLocator::isResourceLocator(locator.toUri()), "its URI is a locator");
    require(back.has_value(), "a locator is read from its URI");
    requireEqual(back->toString(), locator.toString(), "a locator comes back from its URI");
    require(back->getServiceInstance() == locator.getServiceInstance(), "instance");
    requireEqual(locator.getElementId(1), resource.at(Path::NPOS), "the last element");
    requireEqual(locator.getResourcePrefix(0), '/' + resource.subpath(0, Path::NPOS),
                 "the whole prefix");
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
    if (locator.getServicePath()->rfind("//", 0) != 0) {  // the URI would have an authority
        check(locator, Path(resource));
    }
    return 0;
}
