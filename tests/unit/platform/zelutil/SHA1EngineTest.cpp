#include <gtest/gtest.h>

#include <string>

#include "util/SHA1Engine.h"

namespace {

std::string hex(const util::SHA1Engine::Digest& digest) {
    std::string text;
    for (const unsigned char byte : digest) {
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    return text;
}

struct Vector {
    std::string message;
    char const* digest;
};

// The examples of FIPS 180 and the empty message.
const Vector VECTORS[] = {
    {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
    {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
    {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
     "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
    {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
};

TEST(SHA1EngineTest, DigestsMatchTheFips180Examples) {
    for (const Vector& vector : VECTORS) {
        util::SHA1Engine engine;
        engine.update(vector.message.data(), vector.message.size());
        EXPECT_EQ(hex(engine.finish()), vector.digest) << vector.message.substr(0, 60);
    }
}

TEST(SHA1EngineTest, DigestIsIndependentOfTheSplitIntoUpdates) {
    const std::string message(200, 'm');
    util::SHA1Engine whole;
    whole.update(message.data(), message.size());
    const auto expected = whole.finish();
    for (const std::size_t piece : {1U, 3U, 63U, 64U, 65U}) {
        util::SHA1Engine engine;
        for (std::size_t at = 0; at < message.size(); at += piece) {
            const std::string part = message.substr(at, piece);
            engine.update(part.data(), part.size());
        }
        EXPECT_EQ(engine.finish(), expected) << piece;
    }
}

TEST(SHA1EngineTest, EngineIsReusableAfterFinish) {
    util::SHA1Engine engine;
    engine.update("something else", 14);
    (void)engine.finish();
    engine.update("abc", 3);
    engine.update(nullptr, 0);
    EXPECT_EQ(hex(engine.finish()), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

}  // namespace
