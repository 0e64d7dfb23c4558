// The example of docs/nats.md, at a real broker.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

#include "support/Broker.h"

namespace kova::test {
namespace {

TEST(NatsExampleTest, ExampleIsAnsweredByAnyServerAndByItsInstance) {
    const Broker broker;
    std::FILE* const program = ::popen((KOVA_BROKER_EXAMPLE " " + broker.url()).c_str(), "r");
    ASSERT_NE(program, nullptr);
    std::string output;
    std::array<char, 256> bytes{};
    for (std::size_t size = 0; (size = std::fread(bytes.data(), 1, bytes.size(), program)) > 0;) {
        output.append(bytes.data(), size);
    }
    EXPECT_EQ(::pclose(program), 0);
    EXPECT_EQ(output, "Hello, world!\nHello, world!\n");
}

}  // namespace
}  // namespace kova::test
