// What the documents show is what is compiled and run.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string read(const std::string& file) {
    std::ifstream in(std::string(KOVA_SOURCE_DIR "/") + file);
    EXPECT_TRUE(in) << file;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

/// What a program prints on its standard output.
std::string outputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    std::array<char, 256> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe) != nullptr) {
        output += buffer.data();
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

/// The first fenced block of the language behind the heading.
std::string blockOf(const std::string& document, const std::string& heading,
                    const std::string& language) {
    const std::string fence = "```" + language + "\n";
    const std::size_t start = document.find(fence, document.find(heading));
    EXPECT_NE(start, std::string::npos) << heading;
    const std::size_t first = start + fence.size();
    return document.substr(first, document.find("```\n", first) - first);
}

TEST(DocumentsTest, TheProgramInTheReadmeIsTheOneThatIsBuilt) {
    EXPECT_EQ(blockOf(read("README.md"), "## A service and a client", "cpp"),
              read("examples/hello_service/main.cpp"));
}

TEST(DocumentsTest, TheProgramInTheReadmePrintsWhatTheReadmeSays) {
    EXPECT_EQ(outputOf(KOVA_HELLO_SERVICE " 2>/dev/null"),
              blockOf(read("README.md"), "It prints", "text"));
}

TEST(DocumentsTest, EveryPublicHeaderIsInTheGuide) {
    const std::string readme = read("README.md");
    std::istringstream headers(KOVA_PUBLIC_HEADERS);
    for (std::string header; std::getline(headers, header, ',');) {
        EXPECT_NE(readme.find("`" + header + "`"), std::string::npos) << header;
    }
}

TEST(DocumentsTest, EveryPackageHasItsReasonInTheArchitecture) {
    const std::string architecture = read("docs/architecture.md");
    std::istringstream packages(read("packages.txt"));
    for (std::string group, name; packages >> group;) {
        if (group.back() == ':' && packages >> name) {
            EXPECT_NE(architecture.find("`" + name + "`"), std::string::npos) << name;
        }
        std::getline(packages, group);
    }
}

}  // namespace
