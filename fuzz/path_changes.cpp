// Changes of a path: cutting, inserting and taking a part out do the same to a text as to an
// object.
#include "kova/core/Path.h"
#include "support/Fuzz.h"

using namespace fuzz;
using kova::Path;

namespace {

void checkCut(const std::string& text, unsigned long index) {
    Path cut(text);
    std::string cutText = cut.toString();
    require(cut.cut(index) == Path::cut(text, index, cutText), "both cut, or none");
    requireEqual(cutText, cut.toString(), "cut");
    std::string part;
    const bool none = Path::subpath(text, index, index + 1, part);
    requireEqual(part, none ? "" : Path(text).subpath(index, index + 1), "subpath");
}

void checkInsert(const std::string& text, const std::string& other, unsigned long index) {
    Path inserted(text);
    std::string insertedText = inserted.toString();
    const bool failed = inserted.insert(other, index);
    require(failed == Path::insert(text, other, index, insertedText), "both insert, or none");
    requireEqual(insertedText, inserted.toString(), "insert");
    require(inserted.numparts() == Path::numparts(text) + (failed ? 0 : 1), "insert adds a part");
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
