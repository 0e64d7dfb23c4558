#pragma once

#include <array>
#include <cstddef>

#include "util/Export.h"

namespace util {

/// The SHA-1 digest (FIPS 180-4), for identifiers made from names; not for security.
///
/// One thread at a time.
///
///     util::SHA1Engine engine;
///     engine.update("abc", 3);
///     const util::SHA1Engine::Digest digest = engine.finish();  // a9 99 3e ...
class UTIL_API SHA1Engine {
public:
    /// The 20 bytes of a digest.
    using Digest = std::array<unsigned char, 20>;

    SHA1Engine() noexcept;
    SHA1Engine(const SHA1Engine&) = delete;
    SHA1Engine& operator=(const SHA1Engine&) = delete;

    /// Takes `count` more bytes of the message.
    void update(void const* bytes, std::size_t count) noexcept;
    /// The digest of all bytes taken since construction or the last `finish`; the engine is then
    /// ready for a new message.
    Digest finish() noexcept;

private:
    /// Room for the state of the digest library, whose header stays out of this one.
    alignas(8) std::array<unsigned char, 128> state_;
};

}  // namespace util
