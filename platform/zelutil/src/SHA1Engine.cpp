#include "util/SHA1Engine.h"

#include <nettle/sha1.h>

#include <cstdint>
#include <new>

namespace util {

namespace {

static_assert(sizeof(sha1_ctx) <= 128 && alignof(sha1_ctx) <= 8, "the header declares the storage");
static_assert(SHA1_DIGEST_SIZE == std::tuple_size_v<SHA1Engine::Digest>);

sha1_ctx* contextIn(std::array<unsigned char, 128>& state) noexcept {
    return std::launder(reinterpret_cast<sha1_ctx*>(state.data()));
}

}  // namespace

SHA1Engine::SHA1Engine() noexcept {
    sha1_init(new (state_.data()) sha1_ctx);
}

void SHA1Engine::update(void const* bytes, std::size_t count) noexcept {
    if (count != 0) {
        sha1_update(contextIn(state_), count, static_cast<std::uint8_t const*>(bytes));
    }
}

SHA1Engine::Digest SHA1Engine::finish() noexcept {
    Digest digest;
    sha1_digest(contextIn(state_), digest.size(), digest.data());
    return digest;
}

}  // namespace util
