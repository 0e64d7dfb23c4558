// Checks that the documents quote the programs that are built and their output.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/Documents.h"

namespace kova::test {
namespace {

constexpr char const* HELLO_SERVICE = "build/release/examples/hello_service/hello_service";

TEST(DocumentsTest, ReadmeProgramIsTheHelloServiceExample) {
    EXPECT_EQ(blockOf(read("README.md"), "This is a service with one resource", "cpp"),
              read("examples/hello_service/main.cpp"));
}

TEST(DocumentsTest, ReadmeShowsTheOutputOfTheHelloServiceExample) {
    EXPECT_EQ(outputOf(HELLO_SERVICE), blockOf(read("README.md"), "It prints", "text"));
}

/// Returns the first two groups of every match as "first.second".
std::set<std::string> pairsIn(const std::string& text, const std::regex& pattern) {
    std::set<std::string> pairs;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end;
         ++match) {
        pairs.insert((*match)[1].str() + "." + (*match)[2].str());
    }
    return pairs;
}

TEST(DocumentsTest, EveryTestThatADocumentNamesExists) {
    const std::regex definition(R"(\b(?:TYPED_)?TEST(?:_F|_P)?\((\w+),\s*(\w+)\))");
    std::set<std::string> tests;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(KOVA_SOURCE_DIR "/tests")) {
        if (entry.path().extension() == ".cpp") {
            const std::string file = entry.path().lexically_relative(KOVA_SOURCE_DIR).string();
            tests.merge(pairsIn(read(file), definition));
        }
    }
    std::set<std::string> named;
    const std::regex name(R"(`([A-Z]\w+)\.([A-Z]\w+)`)");
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(KOVA_SOURCE_DIR "/docs")) {
        if (entry.path().extension() == ".md") {
            named.merge(
                pairsIn(read(entry.path().lexically_relative(KOVA_SOURCE_DIR).string()), name));
        }
    }
    EXPECT_GT(named.size(), 20U);
    for (const std::string& each : named) {
        EXPECT_EQ(tests.count(each), 1U) << each;
    }
}

/// Adds the words of the headers and sources below the folder.
void collectWords(const std::string& folder, std::set<std::string>& words) {
    const std::regex word("\\w+");
    for (const char* ending : {".h", ".cpp"}) {
        for (const std::string& file : filesBelow(folder, ending)) {
            const std::string text = read(file);
            for (std::sregex_iterator at(text.begin(), text.end(), word), end; at != end; ++at) {
                words.insert(at->str());
            }
        }
    }
}

TEST(DocumentsTest, FunctionsAndTypesNamedInTheInternalsExist) {
    std::set<std::string> words;
    for (const char* folder : {"include", "platform", "src"}) {
        collectWords(folder, words);
    }
    const std::string internals = read("docs/internals.md");
    const std::regex name("`(?:[A-Za-z_]+::)*([A-Za-z_]\\w*)`");
    std::size_t named = 0;
    for (std::sregex_iterator at(internals.begin(), internals.end(), name), end; at != end; ++at) {
        EXPECT_EQ(words.count((*at)[1]), 1U) << at->str();
        ++named;
    }
    EXPECT_GT(named, 30U);
}

TEST(DocumentsTest, ReadmeListsEveryPublicHeader) {
    const std::string readme = read("README.md");
    std::istringstream headers(KOVA_PUBLIC_HEADERS);
    for (std::string header; std::getline(headers, header, ',');) {
        EXPECT_NE(readme.find("`" + header + "`"), std::string::npos) << header;
    }
}

TEST(DocumentsTest, ArchitectureMentionsEveryPackage) {
    const std::string architecture = read("docs/architecture.md");
    std::istringstream packages(read("packages.txt"));
    for (std::string group, name; packages >> group;) {
        if (group.back() == ':' && packages >> name) {
            EXPECT_NE(architecture.find("`" + name + "`"), std::string::npos) << name;
        }
        std::getline(packages, group);
    }
}

// Returns the words of a command, without leading variable assignments.
std::vector<std::string> wordsOf(const std::string& command) {
    std::vector<std::string> words;
    std::istringstream in(command);
    for (std::string word; in >> word;) {
        if (!words.empty() || word.find('=') == std::string::npos) {
            words.push_back(word);
        }
    }
    return words;
}

bool isProgram(const std::string& word) {
    if (word.find('/') == std::string::npos) {
        return std::system(("command -v '" + word + "' >/dev/null").c_str()) == 0;
    }
    const std::string built = inBuild(word);
    return access((built == word ? KOVA_SOURCE_DIR "/" + word : built).c_str(), X_OK) == 0;
}

// Returns whether a word is not a path in the source tree, or is the path of an existing file.
bool existsIfPath(const std::string& word) {
    static const std::regex inTree("(\\./)?(docs|examples|include|platform|src|tests|tools)/.*");
    return !std::regex_match(word, inTree) || std::filesystem::exists(KOVA_SOURCE_DIR "/" + word);
}

void checkCommand(const std::string& command) {
    const std::vector<std::string> words = wordsOf(command);
    ASSERT_FALSE(words.empty()) << command;
    EXPECT_TRUE(isProgram(words[0])) << command;
    const std::string presets = read("CMakePresets.json");
    for (std::size_t i = 1; i < words.size(); ++i) {
        EXPECT_TRUE(existsIfPath(words[i])) << command;
        if (words[i - 1] == "--preset") {
            EXPECT_NE(presets.find("\"name\": \"" + words[i] + "\""), std::string::npos) << command;
        }
    }
}

// Returns whether a file with the ending below the folder contains the text.
bool isInFile(const std::string& text, const std::string& folder, const std::string& ending) {
    const auto files = filesBelow(folder, ending);
    return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
        return read(file).find(text) != std::string::npos;
    });
}

bool isInOutput(const std::string& text, const std::vector<std::string>& outputs) {
    return std::any_of(outputs.begin(), outputs.end(), [&](const std::string& output) {
        return normalized(output).find(normalized(text)) != std::string::npos;
    });
}

void checkBlock(const Block& block, const std::vector<std::string>& outputs) {
    if (block.language == "sh") {
        for (const std::string& command : commandsOf(block)) {
            checkCommand(command);
        }
    } else if (block.language == "cpp") {
        EXPECT_TRUE(isInFile(block.text, "examples", ".cpp")) << block.text;
    } else if (block.language == "cmake") {
        for (const std::string& line : commandsOf(block)) {
            EXPECT_TRUE(isInFile(line, "examples", ".txt") ||
                        isInFile(line, "tests/consumer", ".txt"))
                << line;
        }
    } else if (block.language == "text") {
        EXPECT_TRUE(isInOutput(block.text, outputs)) << block.text;
    } else {
        ADD_FAILURE() << "there is no check for blocks of '" << block.language << "'";
    }
}

TEST(DocumentsTest, EveryCodeBlockIsSourceOutputOrCommand) {
    for (const std::string& document : documents()) {
        const std::vector<Block> blocks = blocksOf(read(document));
        std::vector<std::string> outputs = outputsOf(blocks);
        outputs.push_back(outputOf(HELLO_SERVICE));
        for (const Block& block : blocks) {
            SCOPED_TRACE(document + ":" + std::to_string(block.line));
            checkBlock(block, outputs);
        }
    }
}

TEST(DocumentsTest, EveryRelativeLinkResolvesToAFile) {
    const std::regex link("\\]\\(([^)#:]+)(#[^)]*)?\\)");
    for (const std::string& document : documents()) {
        const std::string text = proseOf(read(document));
        const std::filesystem::path folder = std::filesystem::path(document).parent_path();
        for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at) {
            const auto target = std::filesystem::path(KOVA_SOURCE_DIR) / folder / (*at)[1].str();
            EXPECT_TRUE(std::filesystem::exists(target)) << document << ": " << (*at)[1];
        }
    }
}

}  // namespace
}  // namespace kova::test
