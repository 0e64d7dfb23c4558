#pragma once

#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace kova::test {

/// A strict reader of the text exposition format 0.0.4 of Prometheus, as far as the kit uses it.
class MetricsPage {
public:
    /// Returns why the page is wrong, with the line, or "" if it is right.
    static std::string faultOf(const std::string& page) {
        if (!page.empty() && page.back() != '\n') {
            return "the last line has no end";
        }
        MetricsPage reader;
        std::istringstream lines(page);
        for (std::string line; std::getline(lines, line);) {
            if (!reader.read(line)) {
                return reader.fault_ + ": " + line;
            }
        }
        return reader.bucketsAreComplete() ? "" : "a histogram is not complete";
    }

private:
    bool fail(char const* fault) {
        fault_ = fault;
        return false;
    }

    bool read(const std::string& line) {
        static const std::regex help(
            "# HELP ([a-zA-Z_:][a-zA-Z0-9_:]*) ((\\\\\\\\|\\\\n|[^\\\\])*)");
        static const std::regex type("# TYPE ([a-zA-Z_:][a-zA-Z0-9_:]*) (counter|gauge|histogram)");
        static const std::regex sample(
            "([a-zA-Z_:][a-zA-Z0-9_:]*)(\\{(.*)\\})? "
            "(NaN|[+-]Inf|-?[0-9]+(\\.[0-9]+)?(e[+-][0-9]+)?)");
        std::smatch match;
        if (std::regex_match(line, match, help)) {
            helped_ = match[1];
            return families_.insert(helped_).second || fail("a second HELP");
        }
        if (std::regex_match(line, match, type)) {
            family_ = match[1];
            type_ = match[2];
            return family_ == helped_ || fail("TYPE without its HELP");
        }
        if (!std::regex_match(line, match, sample)) {
            return fail("not a line of the format");
        }
        return readSample(match[1], match[3], std::strtod(match[4].str().c_str(), nullptr));
    }

    bool readSample(const std::string& name, const std::string& labels, double number) {
        static const std::regex list(
            "([a-zA-Z_][a-zA-Z0-9_]*=\"(\\\\\\\\|\\\\\"|\\\\n|[^\"\\\\])*\"(,(?=[a-z])|$))*");
        if (!std::regex_match(labels, list)) {
            return fail("wrong labels");
        }
        if (!samples_.insert(name + '{' + labels).second) {
            return fail("a second sample");
        }
        if (type_ != "histogram") {
            return name == family_ || fail("a sample of another family");
        }
        return readHistogram(name, labels, number);
    }

    bool readHistogram(const std::string& name, const std::string& labels, double number) {
        if (name == family_ + "_bucket") {
            const std::size_t at = labels.rfind(",le=\"");
            if (at == std::string::npos) {
                return fail("a bucket without a bound");
            }
            Buckets& buckets = histograms_[labels.substr(0, at)];
            if (number < buckets.last) {
                return fail("buckets are not cumulative");
            }
            buckets.last = number;
            buckets.isComplete = buckets.isComplete || labels.substr(at) == ",le=\"+Inf\"";
            return true;
        }
        if (name == family_ + "_count") {
            return histograms_[labels].last == number || fail("the count is not that of +Inf");
        }
        return name == family_ + "_sum" || fail("a sample of another family");
    }

    bool bucketsAreComplete() const {
        for (const auto& [labels, buckets] : histograms_) {
            if (!buckets.isComplete) {
                return false;
            }
        }
        return true;
    }

    struct Buckets {
        double last = 0;
        bool isComplete = false;
    };

    std::string fault_;
    std::string helped_;
    std::string family_;
    std::string type_;
    std::set<std::string> families_;
    std::set<std::string> samples_;
    std::map<std::string, Buckets> histograms_;
};

}  // namespace kova::test
