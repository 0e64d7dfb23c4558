// An identifier made from a name has version 5, however the name is fed to the digest.
#include <algorithm>

#include "kova/core/uuid.h"
#include "support/Fuzz.h"
#include "util/SHA1Engine.h"

using namespace fuzz;
using zel::UUID;

namespace {

/// The digest of the name, fed in two pieces.
UUID::Bytes digestOf(const std::string& name, std::size_t cut) {
    util::SHA1Engine engine;
    engine.update(name.data(), cut);
    engine.update(name.data() + cut, name.size() - cut);
    const util::SHA1Engine::Digest digest = engine.finish();
    UUID::Bytes bytes{};
    std::copy_n(digest.begin(), bytes.size(), bytes.begin());
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string name = Input(data, size).rest();
    UUID id;
    require(!kova::uuid::createFromName(name, id), "every name has an identifier");
    const std::size_t cut = std::min<std::size_t>(Input(data, size).byte(), size);
    require(id == UUID(digestOf(name, cut), 5) && id.version() == 5,
            "the identifier is the digest");
    require((id.bytes()[8] & 0xC0) == 0x80, "with the variant of RFC 4122");
    return 0;
}
