#include "ShellLine.h"

#include <algorithm>

namespace kova::tool {

namespace {

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

/// Splits a line into words, character by character.
class Splitter {
public:
    explicit Splitter(std::string_view line) {
        for (std::size_t at = 0; at < line.size(); ++at) {
            if (quote_ == 0 && !isInWord_ && line[at] == '#') {
                break;
            }
            at += accept(line[at], at + 1 < line.size() ? line[at + 1] : '\0');
        }
    }

    const std::vector<std::string>& words() const { return words_; }
    char quote() const { return quote_; }
    bool isInWord() const { return isInWord_; }

private:
    // Returns the number of characters that it has consumed besides the first one.
    std::size_t accept(char character, char next) {
        if (character == '\\' && quote_ != '\'' && next != '\0') {
            add(next);
            return 1;
        }
        if (character == quote_) {
            quote_ = 0;
        } else if (quote_ == 0 && (character == '\'' || character == '"')) {
            quote_ = character;
            begin();
        } else if (quote_ == 0 && isBlank(character)) {
            isInWord_ = false;
        } else {
            add(character);
        }
        return 0;
    }
    void begin() {
        if (!isInWord_) {
            words_.emplace_back();
        }
        isInWord_ = true;
    }
    void add(char character) {
        begin();
        words_.back() += character;
    }

    std::vector<std::string> words_;
    char quote_ = 0;
    bool isInWord_ = false;
};

std::string commonBeginning(const std::vector<std::string>& texts) {
    std::string common = texts.front();
    for (const std::string& text : texts) {
        const auto end = std::mismatch(common.begin(), common.end(), text.begin(), text.end());
        common.erase(end.first, common.end());
    }
    return common;
}

bool continues(const std::string& candidate) {
    return candidate.find_last_of("$/:=") == candidate.size() - 1;
}

}  // namespace

kit::Result<std::vector<std::string>> wordsOfLine(std::string_view line) {
    const Splitter splitter(line);
    if (splitter.quote() != 0) {
        return kit::Error{400, std::string("the quote ") + splitter.quote() + " is not closed"};
    }
    return splitter.words();
}

std::vector<std::string> wordsToComplete(std::string_view line) {
    const Splitter splitter(line);
    std::vector<std::string> words = splitter.words();
    if (!splitter.isInWord()) {
        words.emplace_back();
    }
    return words;
}

LineCompletion completeLine(std::string_view line, const std::vector<std::string>& candidates) {
    LineCompletion result;
    if (candidates.empty()) {
        return result;
    }
    const std::size_t typed = wordsToComplete(line).back().size();
    result.insertion = commonBeginning(candidates).substr(typed);
    if (candidates.size() > 1) {
        if (result.insertion.empty()) {
            result.choices = candidates;
        }
    } else if (!continues(candidates.front())) {
        const char quote = Splitter(line).quote();
        result.insertion += (quote == 0 ? "" : std::string(1, quote)) + ' ';
    }
    return result;
}

}  // namespace kova::tool
