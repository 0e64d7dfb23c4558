// What a path has: its parts are those of `split`, on texts and on objects, and all of them
// together are the path again.
#include "kova/core/Path.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;

namespace {

using Parts = std::vector<std::string>;

void checkPart(const std::string& text, const Path& path, const Parts& parts, std::size_t i) {
    const std::string expected = i < parts.size() ? parts[i] : "?";
    std::string fromText = "?";
    std::string fromPath = "?";
    require(Path::part(text, i, fromText) == (i == parts.size()), "a text has its parts");
    require(path.part(i, fromPath) == (i == parts.size()), "a path has its parts");
    require(fromText == expected && fromPath == expected, "parts are those of split");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text = Input(data, size).line();
    const Path path(text);
    const Parts parts = Path::split(text);
    const std::size_t count = parts.size();
    require(path.numparts() == count && Path::numparts(text) == count, "numparts");
    for (std::size_t i = 0; i <= count; ++i) {
        checkPart(text, path, parts, i);
    }
    requireEqual(Path(path.toString()).toString(), path.toString(), "printing normalizes");
    const std::string whole = path.subpath(0, Path::NPOS);
    requireEqual((Path::isAbsolute(text) ? "/" : "") + whole, path.toString(), "subpath of all");
    const std::string rejoined = Path::join(Path::parent(text), path.at(Path::NPOS));
    requireEqual(count == 0 ? path.toString() : rejoined, path.toString(), "parent and last");
    require(Path::isAbsolute(Path::absolute(text)), "absolute");
    require(Path::matches(text, text) && Path::matches(text, "**"), "what fits everything");
    require(Path::replacePattern("/a/*/b", text) == "/a/" + text + "/b", "replacePattern");
    return 0;
}
