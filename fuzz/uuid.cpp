// Identifiers: exactly the texts of the form are read, they print in lower case and read back, and
// an identifier made from a name has version 5 however the name is fed to the digest.
#include "kova/core/uuid.h"

#include <algorithm>

#include "kova/core/Path.h"
#include "support/Fuzz.h"
#include "util/SHA1Engine.h"

using namespace fuzz;
using zel::UUID;

namespace {

bool isHexadecimal(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool hasForm(const std::string& text) {
    std::size_t position = 0;
    return text.size() == UUID::TEXT_LENGTH &&
           std::all_of(text.begin(), text.end(), [&position](char c) {
               const std::size_t i = position++;
               const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
               return hyphen ? c == '-' : isHexadecimal(c);
           });
}

void checkText(std::string text) {
    UUID id;
    require(UUID::tryParse(id, text) != hasForm(text), "exactly the texts of the form are read");
    if (hasForm(text)) {
        std::transform(text.begin(), text.end(), text.begin(), [](char c) {
            return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        requireEqual(id.toString(), text, "it prints in lower case");
    }
    UUID part;
    const kova::Path path("/a/" + text + "/b");
    require(path.part(1, part) != hasForm(path.at(1)), "the part of a path is read alike");
    require(part == id || !hasForm(text), "and is the same");
    UUID again;
    require(!UUID::tryParse(again, id.toString()) && again == id, "what is printed is read");
}

void checkName(const std::string& name, std::size_t cut) {
    UUID id;
    require(!kova::uuid::createFromName(name, id), "every name has an identifier");
    util::SHA1Engine engine;
    engine.update(name.data(), std::min(cut, name.size()));
    engine.update(name.data() + std::min(cut, name.size()),
                  name.size() - std::min(cut, name.size()));
    const util::SHA1Engine::Digest digest = engine.finish();
    UUID::Bytes bytes{};
    std::copy_n(digest.begin(), bytes.size(), bytes.begin());
    require(id == UUID(bytes, 5) && id.version() == 5, "the identifier is the digest");
    require((id.bytes()[8] & 0xC0) == 0x80, "with the variant of RFC 4122");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text(reinterpret_cast<char const*>(data), size);
    checkText(text);
    checkText(text.substr(0, UUID::TEXT_LENGTH));
    checkName(text, size == 0 ? 0 : data[0]);
    return 0;
}
