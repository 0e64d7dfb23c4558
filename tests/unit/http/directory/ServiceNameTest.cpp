#include "directory/ServiceName.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>

namespace kova::http::detail {
namespace {

struct Row {
    char const* servicePath;
    char const* fileName;
};

class ServiceName : public ::testing::TestWithParam<Row> {};

TEST_P(ServiceName, IsMadeFromTheServicePathAndConvertedBack) {
    EXPECT_TRUE(isServicePath(GetParam().servicePath));
    EXPECT_EQ(toFileName(GetParam().servicePath), GetParam().fileName);
    EXPECT_EQ(toServicePath(GetParam().fileName), GetParam().servicePath);
}

INSTANTIATE_TEST_SUITE_P(ServiceNameTest, ServiceName,
                         ::testing::Values(Row{"/device", "device"},
                                           Row{"/media/player2", "media+player2"},
                                           Row{"/a-b.c_d~e", "a-b.c_d~e"}, Row{"/a+b", "a%2Bb"},
                                           Row{"/a%2Fb", "a%252Fb"}, Row{"/.", "%2E"},
                                           Row{"/..", "%2E."}, Row{"/.new-0", "%2Enew-0"},
                                           Row{"/a/..", "a+.."}, Row{"/\xE4", "%E4"}));

TEST(ServiceNameTest, EveryByteReadsBackUnchanged) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string path =
            std::string("/") + static_cast<char>(byte) + "x" + static_cast<char>(byte);
        if (byte != 0 && std::strchr("/$?#[", byte) != nullptr) {
            EXPECT_FALSE(isServicePath(path)) << byte;
            continue;
        }
        const std::string name = toFileName(path);
        EXPECT_EQ(name.find('/'), std::string::npos) << byte;
        EXPECT_EQ(name.find('\0'), std::string::npos) << byte;
        EXPECT_NE(name.front(), '.') << byte;
        EXPECT_EQ(toServicePath(name), path) << byte;
    }
}

class NoServicePath : public ::testing::TestWithParam<char const*> {};

TEST_P(NoServicePath, IsRefused) {
    EXPECT_FALSE(isServicePath(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(ServiceNameTest, NoServicePath,
                         ::testing::Values("", "/", "device", "device/", "/device/", "//device",
                                           "/a//b", "/device$", "/a$/b", "/a?", "/a#b", "/[a]"));

class NoFileName : public ::testing::TestWithParam<char const*> {};

TEST_P(NoFileName, HasNoServicePath) {
    EXPECT_EQ(toServicePath(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(ServiceNameTest, NoFileName,
                         ::testing::Values("", ".", "..", ".new-0", ".lock-0", "+", "+a", "a+",
                                           "a++b", "a%", "a%2", "a%zz", "a%-1", "a%2b", "%41",
                                           "a%24b", "a%2Fb", "a%3Fb", "a%23b", "a%5Bb", "a b",
                                           "a\xE4"));

}  // namespace
}  // namespace kova::http::detail
