#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace util {

/// The SHA-1 digest (FIPS 180-4).
class SHA1Engine {
public:
    using Digest = std::array<unsigned char, 20>;

    SHA1Engine() = default;

    /// Appends `count` bytes to the message.
    void update(void const* bytes, std::size_t count) {
        message_.append(static_cast<char const*>(bytes), count);
    }
    /// Returns the digest of the message and starts a new one.
    Digest finish();

private:
    std::string message_;
};

}  // namespace util
