// Changes of a path: cutting, inserting and extracting parts have the same results for texts as for
// objects.
#include "kova/core/Path.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;

namespace {

void checkCut(const std::string& text, unsigned long index) {
    Path cut(text);
    std::string cutText = cut.toString();
    require(cut.cut(index) == Path::cut(text, index, cutText),
            "cut fails for a text as for an object");
    requireEqual(cutText, cut.toString(), "cut has the same result for a text as for an object");
    std::string part;
    const bool failed = Path::subpath(text, index, index + 1, part);
    requireEqual(part, failed ? "" : Path(text).subpath(index, index + 1),
                 "subpath has the same result for a text as for an object");
}

void checkInsert(const std::string& text, const std::string& other, unsigned long index) {
    Path inserted(text);
    std::string insertedText = inserted.toString();
    const bool failed = inserted.insert(other, index);
    require(failed == Path::insert(text, other, index, insertedText),
            "insert fails for a text as for an object");
    requireEqual(insertedText, inserted.toString(),
                 "insert has the same result for a text as for an object");
    require(inserted.numparts() == Path::numparts(text) + (failed ? 0 : 1),
            "insert adds exactly one part");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::uint8_t byte = input.byte();
    const unsigned long index = byte == 0xFF ? Path::NPOS : byte % 8;
    const std::string text = input.line();
    checkCut(text, index);
    checkInsert(text, input.line(), index);
    return 0;
}
