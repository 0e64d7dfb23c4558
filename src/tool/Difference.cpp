#include "Difference.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

#include "JsonLine.h"
#include "StoredPayload.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/StreamOptions.h"
#include "kova/kit/Tree.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace kova::tool {

namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;

// The most bytes of an answer that are shown.
constexpr std::size_t LONGEST_SHOWN = 500;
constexpr std::size_t NEVER = std::numeric_limits<std::size_t>::max();

/// A request and its answer, as texts that are equal if they mean the same.
struct Asked {
    std::string title;
    std::vector<std::string> answer;
    // The positions of the request and its end among the events.
    std::size_t begin = 0;
    std::size_t end = NEVER;
    bool isPaired = false;
};
// The requests of a recording by what was asked. Equal requests are in the order of the recording.
using Groups = std::map<std::string, std::vector<Asked>>;

// Removes the ignored members of all objects in a tree.
void removeFields(Value& root, const std::set<std::string>& names) {
    std::vector<Value*> waiting = {&root};
    while (!waiting.empty()) {
        Value* const value = waiting.back();
        waiting.pop_back();
        if (value->isDictionary()) {
            auto& dictionary = static_cast<Dictionary&>(*value);
            for (const std::string& name : names) {
                static_cast<void>(dictionary.remove(name, true));
            }
            for (const auto& entry : dictionary.entries()) {
                waiting.push_back(entry.second);
            }
        } else if (value->isArray()) {
            const auto& elements = static_cast<const Array&>(*value).elements();
            waiting.insert(waiting.end(), elements.begin(), elements.end());
        }
    }
}

// Returns the value as JSON with the members in alphabetical order, or "" if it is not a value.
std::string canonical(const Payload& payload, const std::set<std::string>& ignored) {
    auto tree = kit::fromPayload<kit::Tree>(payload, unlimited());
    if (!tree || *tree == nullptr) {
        return "";
    }
    removeFields(**tree, ignored);
    return jsonLineOf(Payload::createFromConfig(**tree));
}

std::string textOf(const RecordedEvent& event, const std::set<std::string>& ignored) {
    const Payload& payload = event.payload;
    if (event.omitted != 0) {
        return std::to_string(event.omitted) + " bytes of " + payload.getMimeType();
    }
    if (payload.isEmpty()) {
        return "";
    }
    const bool isJson = payload.getMimeType() == mimetypes::JSON_TYPE;
    if (isJson || payload.getMimeType() == mimetypes::AXOBIN_TYPE) {
        const std::string value = canonical(payload, ignored);
        if (!value.empty()) {
            return isJson ? value : value + " (binary)";
        }
    }
    return storedLineOf(payload);
}

std::string headerOf(const RecordedEvent& event, std::set<std::string> ignored) {
    if (event.header.empty()) {
        return "";
    }
    ignored.insert({"traceparent", kit::STREAM_QUEUE, kit::STREAM_LOST});
    const std::string header = canonical(Payload::createFromJSON(event.header), ignored);
    return header == "{}" ? "" : header;
}

std::string joined(std::string text, const std::string& more) {
    return more.empty() ? text : std::move(text) + ' ' + more;
}

std::string answerOf(const RecordedEvent& event, const std::set<std::string>& ignored) {
    static constexpr char const* WORDS[] = {"", "value", "completed", "failed", "cancelled"};
    std::string text = WORDS[static_cast<std::size_t>(event.kind)];
    if (event.code != 0) {
        text += ' ' + std::to_string(event.code);
    }
    return joined(joined(std::move(text), headerOf(event, ignored)), textOf(event, ignored));
}

bool isIgnored(const std::string& path, const Ignored& ignored) {
    return std::any_of(ignored.paths.begin(), ignored.paths.end(),
                       [&path](const PathPatterns& glob) { return glob.match(path); });
}

Groups groupsOf(const Recording& recording, const Ignored& ignored) {
    Groups groups;
    std::map<std::uint64_t, std::pair<std::string, std::size_t>> places;
    for (std::size_t at = 0; at < recording.events.size(); ++at) {
        const RecordedEvent& event = recording.events[at];
        if (event.kind == EventKind::request) {
            if (isIgnored(event.path, ignored)) {
                continue;
            }
            const std::string title =
                joined(event.command + ' ' + event.path, textOf(event, ignored.fields));
            const std::string key = title + '\n' + headerOf(event, ignored.fields);
            std::vector<Asked>& group = groups[key];
            places[event.id] = {key, group.size()};
            group.push_back({title, {}, at, NEVER, false});
            continue;
        }
        const auto place = places.find(event.id);
        if (place != places.end()) {
            Asked& asked = groups[place->second.first][place->second.second];
            asked.answer.push_back(answerOf(event, ignored.fields));
            asked.end = event.isEnd() ? at : NEVER;
        }
    }
    return groups;
}

// Returns the text on a line, cut after `LONGEST_SHOWN` bytes.
std::string shown(char sign, const std::string& text) {
    std::string line = std::string("  ") + sign + ' ' + text.substr(0, LONGEST_SHOWN);
    return line + (text.size() > LONGEST_SHOWN ? "…\n" : "\n");
}

// Returns the request that corresponds to `asked`: the first unpaired one, but preferably one that
// overlaps it in time and has the same answer as `asked`. Returns null if no request corresponds.
// `unpaired` is the index of the first request that may be unpaired.
Asked* partnerOf(const Asked& asked, std::vector<Asked>& group, std::size_t& unpaired) {
    while (unpaired < group.size() && group[unpaired].isPaired) {
        ++unpaired;
    }
    Asked* first = nullptr;
    for (std::size_t i = unpaired; i < group.size(); ++i) {
        Asked& other = group[i];
        if (other.isPaired) {
            continue;
        }
        if (first != nullptr && other.begin > first->end) {
            break;
        }
        if (other.answer == asked.answer) {
            return &other;
        }
        first = first == nullptr ? &other : first;
    }
    return first;
}

/// Collects the differences of two recordings.
class Comparison {
public:
    void compare(std::vector<Asked>& first, std::vector<Asked>& second) {
        std::size_t unpaired = 0;
        for (Asked& asked : first) {
            Asked* const partner = partnerOf(asked, second, unpaired);
            if (partner == nullptr) {
                addAlone(asked, "first", '-');
                continue;
            }
            partner->isPaired = true;
            ++result.compared;
            if (asked.answer != partner->answer) {
                addDifferent(asked, *partner);
            }
        }
        for (const Asked& asked : second) {
            if (!asked.isPaired) {
                addAlone(asked, "second", '+');
            }
        }
    }

    Differences result;

private:
    void addAlone(const Asked& asked, char const* which, char sign) {
        ++result.compared;
        ++result.different;
        result.text += cut(asked.title) + ": only in the " + which + " recording\n";
        for (const std::string& line : asked.answer) {
            result.text += shown(sign, line);
        }
    }
    void addDifferent(const Asked& first, const Asked& second) {
        ++result.different;
        result.text += cut(first.title) + ":\n";
        const auto begin = std::mismatch(first.answer.begin(), first.answer.end(),
                                         second.answer.begin(), second.answer.end());
        std::for_each(begin.first, first.answer.end(),
                      [this](const std::string& line) { result.text += shown('-', line); });
        std::for_each(begin.second, second.answer.end(),
                      [this](const std::string& line) { result.text += shown('+', line); });
    }
    static std::string cut(const std::string& title) {
        return title.size() > LONGEST_SHOWN ? title.substr(0, LONGEST_SHOWN) + "…" : title;
    }
};

}  // namespace

Differences compare(const Recording& first, const Recording& second, const Ignored& ignored) {
    Groups firstGroups = groupsOf(first, ignored);
    Groups secondGroups = groupsOf(second, ignored);
    Comparison comparison;
    for (auto& [key, group] : firstGroups) {
        comparison.compare(group, secondGroups[key]);
    }
    std::vector<Asked> none;
    for (auto& [key, group] : secondGroups) {
        if (firstGroups.count(key) == 0) {
            comparison.compare(none, group);
        }
    }
    return std::move(comparison.result);
}

}  // namespace kova::tool
