#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

/// Access to the documents of the source tree and to the commands and outputs that they quote. A
/// test program that includes this header must define KOVA_SOURCE_DIR and KOVA_BINARY_DIR.
namespace kova::test {

/// Returns the contents of a file. Its path is relative to the top of the source tree.
inline std::string read(const std::string& file) {
    std::ifstream in(std::string(KOVA_SOURCE_DIR "/") + file);
    EXPECT_TRUE(in) << file;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

/// Returns the sorted paths of the files with the extension `ending` below a folder. All paths are
/// relative to the top of the source tree.
inline std::vector<std::string> filesBelow(const std::string& folder, const std::string& ending) {
    std::vector<std::string> files;
    const std::filesystem::path root(KOVA_SOURCE_DIR);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
        if (entry.path().extension() == ending) {
            files.push_back(std::filesystem::relative(entry.path(), root).string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Returns the paths of the documents, at the top of the source tree and below docs.
inline std::vector<std::string> documents() {
    std::vector<std::string> files = filesBelow("docs", ".md");
    files.insert(files.end(), {"README.md", "CONTRIBUTING.md", "bench/RESULTS.md"});
    return files;
}

/// Replaces "build/release", the build folder that documents use, by the build folder under test.
inline std::string inBuild(const std::string& text) {
    return std::regex_replace(text, std::regex("build/release\\b"), KOVA_BINARY_DIR);
}

/// Replaces times, thread numbers and addresses in trace lines, and the members of JSON objects
/// that differ from run to run, by fixed words.
inline std::string normalized(const std::string& text) {
    static const std::regex stamp(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z \d+ )");
    static const std::regex address("0x[0-9a-f]+");
    static const std::regex member(R"re(("(?:ageMs|pid|thread|uptimeMs)": ?)\d+)re");
    const std::string lines = std::regex_replace(text, stamp, "TIME THREAD ");
    return std::regex_replace(std::regex_replace(lines, address, "ADDRESS"), member, "$1NUMBER");
}

/// Runs a command of a document at the top of the source tree and returns its standard output. The
/// test fails if the command fails.
inline std::string outputOf(const std::string& command) {
    const std::string quiet = command.find("2>") == std::string::npos ? " 2>/dev/null" : "";
    const std::string whole =
        "unset ZEL_TRACE ZEL_CONFIG_KOVA_AGT; cd " KOVA_SOURCE_DIR "; " + inBuild(command) + quiet;
    std::string output;
    FILE* const pipe = popen(whole.c_str(), "r");
    std::array<char, 256> buffer{};
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe) != nullptr) {
        output += buffer.data();
    }
    EXPECT_EQ(pclose(pipe), 0) << whole;
    return output;
}

/// A fenced block of a document.
struct Block {
    std::string language;
    std::string text;
    std::size_t line = 0;  ///< line number of the opening fence
};

/// Returns the fenced blocks of a document. The test fails if one is not closed.
inline std::vector<Block> blocksOf(const std::string& document) {
    std::vector<Block> blocks;
    std::istringstream lines(document);
    bool inside = false;
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (line.compare(0, 3, "```") != 0) {
            if (inside) {
                blocks.back().text += line + "\n";
            }
        } else if (inside = !inside; inside) {
            blocks.push_back({line.substr(3), "", number});
        }
    }
    EXPECT_FALSE(inside) << "a block is not closed";
    return blocks;
}

/// Returns a document without its fenced blocks.
inline std::string proseOf(const std::string& document) {
    std::string prose;
    std::istringstream lines(document);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        const bool fence = line.compare(0, 3, "```") == 0;
        inside = inside != fence;
        if (!inside && !fence) {
            prose += line + "\n";
        }
    }
    return prose;
}

/// Returns the commands of a block, without comments. Joins a line that ends in "\" with the next
/// one, and splits lines at "&&".
inline std::vector<std::string> commandsOf(const Block& block) {
    std::vector<std::string> commands;
    std::string joined = std::regex_replace(block.text, std::regex("\\\\\n *"), "");
    std::istringstream lines(std::regex_replace(joined, std::regex(" && "), "\n"));
    for (std::string line; std::getline(lines, line);) {
        line.erase(std::min(line.find(" #"), line.size()));
        line.erase(line.find_last_not_of(' ') + 1);
        if (!line.empty() && line[0] != '#') {
            commands.push_back(line);
        }
    }
    return commands;
}

/// Runs all programs of the build that are started in the blocks of a document, and returns their
/// outputs.
inline std::vector<std::string> outputsOf(const std::vector<Block>& blocks) {
    std::vector<std::string> outputs;
    for (const Block& block : blocks) {
        for (const std::string& command : commandsOf(block)) {
            if (block.language == "sh" &&
                std::regex_search(command, std::regex("^([A-Z_]+=\\S+ )*build/release/"))) {
                outputs.push_back(outputOf(command));
            }
        }
    }
    return outputs;
}

/// Returns the text of the first fenced block of the given language after the heading. The test
/// fails if there is no such block.
inline std::string blockOf(const std::string& document, const std::string& heading,
                           const std::string& language) {
    const std::size_t start = document.find(heading);
    EXPECT_NE(start, std::string::npos) << heading;
    if (start == std::string::npos) {
        return {};
    }
    for (const Block& block : blocksOf(document.substr(start))) {
        if (block.language == language) {
            return block.text;
        }
    }
    ADD_FAILURE() << "no block after " << heading;
    return {};
}

/// Returns the rows of all tables between the heading and the next one, as lists of cells. Header
/// rows are omitted. A "|" inside a cell must be written as "\|".
inline std::vector<std::vector<std::string>> rowsOf(const std::string& document,
                                                    const std::string& heading) {
    std::vector<std::vector<std::string>> rows;
    const std::size_t start = document.find(heading + "\n");
    EXPECT_NE(start, std::string::npos) << heading;
    std::istringstream lines(start == std::string::npos ? "" : document.substr(start));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line.compare(0, 1, "#") != 0) {
        if (line.compare(0, 2, "|-") == 0) {
            rows.pop_back();
        } else if (line.compare(0, 2, "| ") == 0) {
            rows.emplace_back();
            for (std::size_t at = 2, end = 0; at < line.size(); at = end + 3) {
                end = line.find(" |", at);
                rows.back().push_back(line.substr(at, end - at));
            }
        }
    }
    return rows;
}

/// Returns the code in a cell of a table, without the marks of Markdown.
inline std::string codeOf(const std::string& cell) {
    return std::regex_replace(cell.substr(1, cell.size() - 2), std::regex("\\\\\\|"), "|");
}

/// Returns an output as a cell of a table shows it: line ends become spaces, and those at both ends
/// are removed.
inline std::string inOneLine(const std::string& output) {
    const std::string line = std::regex_replace(output, std::regex("\\n+"), " ");
    return std::regex_replace(line, std::regex("^ +| +$"), "");
}

}  // namespace kova::test
