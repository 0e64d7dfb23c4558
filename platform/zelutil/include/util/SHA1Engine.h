#pragma once

#include <array>
#include <cstddef>

#include "util/Export.h"

namespace util {

/// Calculates SHA-1 digests (FIPS 180-4) for identifiers that are made from names. Do not use it
/// for security.
///
/// Used by one thread at a time.
///
///     util::SHA1Engine engine;
///     engine.update("abc", 3);
///     const util::SHA1Engine::Digest digest = engine.finish();  // a9 99 3e ...
class UTIL_API SHA1Engine {
public:
    /// The 20 bytes of a digest.
    using Digest = std::array<unsigned char, 20>;

    /// Creates an engine that is ready for a message.
    SHA1Engine() noexcept;
    SHA1Engine(const SHA1Engine&) = delete;
    SHA1Engine& operator=(const SHA1Engine&) = delete;

    /// Adds `count` bytes to the message.
    void update(void const* bytes, std::size_t count) noexcept;
    /// Returns the digest of all bytes added since construction or the last `finish`. Afterwards
    /// the engine is ready for a new message.
    Digest finish() noexcept;

private:
    /// Storage for the state of the digest library. The library's header is not included here.
    alignas(8) std::array<unsigned char, 128> state_;
};

}  // namespace util
