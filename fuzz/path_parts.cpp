// Parts of a path: texts and objects have the parts that `split` returns, and joining all parts
// produces the path again.
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
    require(Path::part(text, i, fromText) == (i == parts.size()),
            "part fails only past the end of a text");
    require(path.part(i, fromPath) == (i == parts.size()),
            "part fails only past the end of an object");
    require(fromText == expected && fromPath == expected, "part returns the parts of split");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text = Input(data, size).line();
    const Path path(text);
    const Parts parts = Path::split(text);
    const std::size_t count = parts.size();
    require(path.numparts() == count && Path::numparts(text) == count,
            "numparts is the number of parts of split");
    for (std::size_t i = 0; i <= count; ++i) {
        checkPart(text, path, parts, i);
    }
    requireEqual(Path(path.toString()).toString(), path.toString(),
                 "the text of an object is normalized");
    const std::string whole = path.subpath(0, Path::NPOS);
    requireEqual((Path::isAbsolute(text) ? "/" : "") + whole, path.toString(),
                 "the subpath of all parts is the path");
    const std::string rejoined = Path::join(Path::parent(text), path.at(Path::NPOS));
    requireEqual(count == 0 ? path.toString() : rejoined, path.toString(),
                 "the parent joined with the last part is the path");
    require(Path::isAbsolute(Path::absolute(text)), "absolute returns an absolute path");
    require(Path::matches(text, text) && Path::matches(text, "**"), "a path matches itself and **");
    require(Path::replacePattern("/a/*/b", text) == "/a/" + text + "/b",
            "replacePattern replaces the *");
    return 0;
}
