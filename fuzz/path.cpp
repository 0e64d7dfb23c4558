// Paths and the laws of their operations: the same on texts and objects, parts in and parts out.
#include <algorithm>

#include "kova/core/Path.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;

namespace {

using Parts = std::vector<std::string>;

void checkReading(const std::string& text) {
    const Path path(text);
    const Parts parts = Path::split(text);
    requireEqual(Path(path.toString()).toString(), path.toString(), "printing normalizes");
    require(path.numparts() == parts.size() && Path::numparts(text) == parts.size(), "numparts");
    for (std::size_t i = 0; i <= parts.size(); ++i) {
        std::string fromText = "?";
        std::string fromPath = "?";
        const std::string expected = i < parts.size() ? parts[i] : "?";
        require(Path::part(text, i, fromText) == (i == parts.size()), "a text has its parts");
        require(path.part(i, fromPath) == (i == parts.size()), "a path has its parts");
        require(fromText == expected && fromPath == expected, "parts are those of split");
    }
    const std::string whole = path.subpath(0, Path::NPOS);
    requireEqual((Path::isAbsolute(text) ? "/" : "") + whole, path.toString(), "subpath of all");
    const std::string rejoined = Path::join(Path::parent(text), path.at(Path::NPOS));
    requireEqual(parts.empty() ? path.toString() : rejoined, path.toString(), "parent and last");
    require(Path::isAbsolute(Path::absolute(text)), "absolute");
}

void checkChanging(const std::string& text, const std::string& other, unsigned long index) {
    Path cut(text);
    std::string cutText = cut.toString();
    require(cut.cut(index) == Path::cut(text, index, cutText), "both cut, or none");
    requireEqual(cutText, cut.toString(), "cut");
    Path inserted(text);
    std::string insertedText = inserted.toString();
    const bool failed = inserted.insert(other, index);
    require(failed == Path::insert(text, other, index, insertedText), "both insert, or none");
    requireEqual(insertedText, inserted.toString(), "insert");
    require(inserted.numparts() == Path::numparts(text) + (failed ? 0 : 1), "insert adds a part");
    std::string fromText;
    const bool none = Path::subpath(text, index, index + 1, fromText);
    requireEqual(fromText, none ? "" : Path(text).subpath(index, index + 1), "subpath");
}

void checkPair(const std::string& from, const std::string& target) {
    Parts both = Path::split(from);
    const Parts goal = Path::split(target);
    both.insert(both.end(), goal.begin(), goal.end());
    require(Path::split(Path::join(from, target)) == both, "join has the parts of both");
    require(Path::split((Path(from) + Path(target)).toString()) == both, "and so has the sum");
    std::string relative;
    Path::relativize(from, target, relative);
    Path object(from);
    object.relativize(target);
    requireEqual(object.toString(), relative, "relativize");
    Parts walked = Path::split(from);
    for (const std::string& step : Path::split(relative)) {
        step == ".." ? walked.pop_back() : walked.push_back(step);
    }
    require(walked == goal, "the relative path leads to the target");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::uint8_t index = input.byte();
    const std::string first = input.line();
    const std::string second = input.line();
    checkReading(first);
    checkChanging(first, second, index == 0xFF ? Path::NPOS : index % 8);
    if (second.find("..") == std::string::npos) {
        checkPair(first, second);
    }
    require(Path::matches(first, first) && Path::matches(first, "**"), "what fits everything");
    require(Path::replacePattern("/a/*/b", first) == "/a/" + first + "/b", "replacePattern");
    return 0;
}
