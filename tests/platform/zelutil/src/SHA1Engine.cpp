#include "util/SHA1Engine.h"

#include <cstdint>

namespace util {

namespace {

std::uint32_t rotate(std::uint32_t word, unsigned int count) {
    return word << count | word >> (32 - count);
}

/// Returns the padded message: the message, a bit 1, zeros up to 8 bytes before a multiple of 64
/// bytes, and its length in bits.
std::string padded(std::string message) {
    const std::uint64_t bits = 8 * std::uint64_t{message.size()};
    message += '\x80';
    while (message.size() % 64 != 56) {
        message += '\0';
    }
    for (int shift = 56; shift >= 0; shift -= 8) {
        message += static_cast<char>(bits >> static_cast<unsigned int>(shift));
    }
    return message;
}

using Words = std::array<std::uint32_t, 5>;

/// Implements FIPS 180-4, 6.1.2, with the function and constant of round `t`.
void addBlock(char const* block, Words& hash) {
    std::array<std::uint32_t, 80> w{};
    for (unsigned int i = 0; i < 64; ++i) {
        w[i / 4] = w[i / 4] << 8U | static_cast<unsigned char>(block[i]);
    }
    for (unsigned int t = 16; t < 80; ++t) {
        w[t] = rotate(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
    }
    auto [a, b, c, d, e] = hash;
    for (unsigned int t = 0; t < 80; ++t) {
        const std::uint32_t f = t < 20   ? (b & c) | (~b & d)
                                : t < 40 ? b ^ c ^ d
                                : t < 60 ? (b & c) | (b & d) | (c & d)
                                         : b ^ c ^ d;
        const std::uint32_t k = t < 20   ? 0x5A827999
                                : t < 40 ? 0x6ED9EBA1
                                : t < 60 ? 0x8F1BBCDC
                                         : 0xCA62C1D6;
        const std::uint32_t next = rotate(a, 5) + f + e + k + w[t];
        e = d;
        d = c;
        c = rotate(b, 30);
        b = a;
        a = next;
    }
    hash = {hash[0] + a, hash[1] + b, hash[2] + c, hash[3] + d, hash[4] + e};
}

}  // namespace

SHA1Engine::Digest SHA1Engine::finish() {
    Words hash = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    const std::string message = padded(message_);
    for (std::size_t at = 0; at < message.size(); at += 64) {
        addBlock(message.data() + at, hash);
    }
    message_.clear();
    Digest digest{};
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<unsigned char>(hash[i / 4] >> (24 - 8 * (i % 4)));
    }
    return digest;
}

}  // namespace util
