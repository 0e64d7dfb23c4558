// An identifier from a name has version 5. It does not depend on how the name is split between
// calls of the digest's update function.
#include <algorithm>

#include "kova/core/uuid.h"
#include "support/Fuzz.h"
#include "util/SHA1Engine.h"

using namespace fuzz;
using zel::UUID;

namespace {

/// Returns the digest of the name, computed with two calls of `update`.
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
    require(!kova::uuid::createFromName(name, id), "createFromName accepts every name");
    const std::size_t cut = std::min<std::size_t>(Input(data, size).byte(), size);
    require(id == UUID(digestOf(name, cut), 5) && id.version() == 5,
            "the identifier is the digest with version 5");
    require((id.bytes()[8] & 0xC0) == 0x80, "the identifier has the variant of RFC 4122");
    return 0;
}
