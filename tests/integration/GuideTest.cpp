// Checks that each chapter of the guide quotes a complete program and its complete output.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Documents.h"

namespace kova::test {
namespace {

std::vector<std::string> chapters() {
    return filesBelow("docs/guide", ".md");
}

std::string programOf(const std::string& source) {
    return "build/release/examples/guide/guide_" + std::filesystem::path(source).stem().string();
}

bool holds(const std::vector<Block>& blocks, const std::string& language, const std::string& text) {
    return std::any_of(blocks.begin(), blocks.end(), [&](const Block& block) {
        return block.language == language && normalized(block.text) == normalized(text);
    });
}

// Returns the programs of the guide, without the sources of the replacement library.
std::vector<std::string> sources() {
    auto files = filesBelow("examples/guide", ".cpp");
    files.erase(std::remove_if(files.begin(), files.end(),
                               [](const std::string& file) {
                                   return file.find("/replacement/") != std::string::npos;
                               }),
                files.end());
    return files;
}

TEST(GuideTest, ExactlyOneChapterQuotesEachProgramAndItsOutput) {
    for (const std::string& source : sources()) {
        SCOPED_TRACE(source);
        int shown = 0;
        for (const std::string& chapter : chapters()) {
            const std::vector<Block> blocks = blocksOf(read(chapter));
            if (holds(blocks, "cpp", read(source))) {
                ++shown;
                EXPECT_TRUE(holds(blocks, "sh", programOf(source) + "\n")) << chapter;
                const std::string output = outputOf(programOf(source));
                EXPECT_TRUE(holds(blocks, "text", output)) << chapter << '\n' << output;
            }
        }
        EXPECT_EQ(shown, 1);
    }
}

TEST(GuideTest, EveryChapterQuotesAProgram) {
    const std::vector<std::string> programs = sources();
    for (const std::string& chapter : chapters()) {
        const std::vector<Block> blocks = blocksOf(read(chapter));
        EXPECT_TRUE(std::any_of(programs.begin(), programs.end(), [&](const std::string& source) {
            return holds(blocks, "cpp", read(source));
        })) << chapter;
    }
}

TEST(GuideTest, ReadmeLinksToEveryChapter) {
    const std::string readme = read("README.md");
    for (const std::string& chapter : chapters()) {
        EXPECT_NE(readme.find("](" + chapter + ")"), std::string::npos) << chapter;
    }
}

}  // namespace
}  // namespace kova::test
