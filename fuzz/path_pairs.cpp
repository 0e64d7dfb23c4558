// Two paths: the joined path has the parts of both, and the relative path leads from one to the
// other.
#include "kova/core/Path.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;
using Parts = std::vector<std::string>;

namespace {

void checkJoin(const std::string& from, const std::string& target) {
    Parts both = Path::split(from);
    const Parts goal = Path::split(target);
    both.insert(both.end(), goal.begin(), goal.end());
    require(Path::split(Path::join(from, target)) == both, "a joined path has the parts of both");
    require(Path::split((Path(from) + Path(target)).toString()) == both,
            "the sum of paths has the parts of both");
}

void checkRelative(const std::string& from, const std::string& target) {
    std::string relative;
    Path::relativize(from, target, relative);
    Path object(from);
    object.relativize(target);
    requireEqual(object.toString(), relative,
                 "relativize has the same result for a text as for an object");
    Parts walked = Path::split(from);
    for (const std::string& step : Path::split(relative)) {
        step == ".." ? walked.pop_back() : walked.push_back(step);
    }
    require(walked == Path::split(target), "the relative path leads to the target");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string from = input.line();
    const std::string target = input.line();
    if (target.find("..") == std::string::npos) {
        checkJoin(from, target);
        checkRelative(from, target);
    }
    return 0;
}
