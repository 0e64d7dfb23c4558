#include "kova/core/uuid.h"

#include <algorithm>

#include "osal/SecureRandom.h"
#include "util/SHA1Engine.h"

namespace kova::uuid {

namespace {

constexpr int RANDOM_VERSION = 4;
constexpr int NAME_VERSION = 5;

}  // namespace

bool createRandom(zel::UUID& out) noexcept {
    const osal::SecureRandom random(false);
    zel::UUID::Bytes bytes;
    if (!random.isValid() || random.read(bytes.data(), bytes.size())) {
        return true;
    }
    out = zel::UUID(bytes, RANDOM_VERSION);
    return false;
}

bool createFromName(const std::string& name, zel::UUID& out) noexcept {
    util::SHA1Engine engine;
    engine.update(name.data(), name.size());
    const util::SHA1Engine::Digest digest = engine.finish();
    zel::UUID::Bytes bytes;
    std::copy_n(digest.begin(), bytes.size(), bytes.begin());
    out = zel::UUID(bytes, NAME_VERSION);
    return false;
}

}  // namespace kova::uuid
