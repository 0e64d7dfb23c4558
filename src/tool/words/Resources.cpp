// The words tree and describe: what a service offers.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>

#include "Inspector.h"
#include "Report.h"
#include "SchemaText.h"
#include "Table.h"
#include "Text.h"
#include "Words.h"
#include "kova/kit/Describe.h"
#include "kova/kit/InspectionViews.h"

namespace kova::tool {

namespace {

using Mounts = std::vector<kit::MountView>;
using Rows = std::vector<std::vector<std::string>>;

/// What a user can do with a path.
struct Offer {
    std::vector<kit::OperationView> operations;
};

// Returns the words of the program for an operation.
std::string wordsFor(const kit::OperationView& operation) {
    static const std::map<std::string_view, char const*> WORDS = {{kit::command::retrieve, "get"},
                                                                  {kit::command::update, "put"},
                                                                  {kit::command::insert, "insert"},
                                                                  {kit::command::remove, "delete"}};
    const auto word = WORDS.find(operation.command);
    return (word == WORDS.end() ? operation.command : word->second) +
           (operation.streams ? " watch" : "");
}

std::string joinedPath(const std::string& mount, const std::string& path) {
    if (path.empty()) {
        return mount;
    }
    return mount == "/" ? "/" + path : mount + "/" + path;
}

// Returns the operations by path. A mount that does not describe its operations has none.
std::map<std::string, Offer> offersOf(const Mounts& mounts) {
    std::map<std::string, Offer> offers;
    for (const kit::MountView& mount : mounts) {
        if (mount.operations.empty()) {
            offers[mount.path];
        }
        for (const kit::OperationView& operation : mount.operations) {
            offers[joinedPath(mount.path, operation.path)].operations.push_back(operation);
        }
    }
    return offers;
}

// Returns the type of the value, or of the body if there is no value.
std::string typeOf(const Offer& offer) {
    for (char const* part : {"value", "body"}) {
        for (const kit::OperationView& operation : offer.operations) {
            const auto schema = operation.schemas.find(part);
            if (schema != operation.schemas.end()) {
                return typeText(schema->second);
            }
        }
    }
    return "";
}

std::string wordsOf(const Offer& offer) {
    std::string words;
    for (const kit::OperationView& operation : offer.operations) {
        words += (words.empty() ? "" : " ") + wordsFor(operation);
    }
    return words.empty() ? "?" : words;
}

void printTree(const Context& context, const Mounts& mounts) {
    Rows rows;
    for (const auto& [path, offer] : offersOf(mounts)) {
        rows.push_back({visible(path), visible(wordsOf(offer)), visible(typeOf(offer))});
    }
    printTable(context.out, rows);
}

void addTree(Words& words) {
    const auto options = std::make_shared<ServiceOptions>();
    CLI::App& word = words.add("tree",
                               "Lists the resources of a service, the words for each, and the type "
                               "of its value; 'watch' marks what streams",
                               {"kova tree kova:/device", "kova tree unix:player.sock"});
    addServiceArgument(word, options->to);
    addDeadline(word, options->deadline);
    words.onSelected(word, [options](const Context& context) {
        return withInspector(context, *options, [&context](Inspector& inspector) {
            if (const auto mounts = inspector.read<Mounts>("resources")) {
                printTree(context, *mounts);
            }
        });
    });
}

std::vector<std::string> segmentsOf(const std::string& path) {
    std::vector<std::string> segments;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        if (end > at) {
            segments.push_back(path.substr(at, end - at));
        }
        at = end + 1;
    }
    return segments;
}

// Returns whether a path can belong to a template: "{...}" matches any segment. The conversions of
// parameters are left to the service.
bool canMatch(const std::string& pattern, const std::string& path) {
    const auto expected = segmentsOf(pattern);
    const auto found = segmentsOf(path);
    return expected.size() == found.size() &&
           std::equal(expected.begin(), expected.end(), found.begin(),
                      [](const std::string& part, const std::string& segment) {
                          return part[0] == '{' || part == segment;
                      });
}

void describeOffer(const Context& context, const std::string& path, const Offer& offer) {
    std::ostream& out = context.out.stream;
    out << visible(path) << '\n';
    for (const kit::OperationView& operation : offer.operations) {
        out << "  " << visible(wordsFor(operation)) << '\n';
        for (const auto& [part, schema] : operation.schemas) {
            out << "    " << visible(part) << ": " << visible(kit::plainText(schema).value_or(""))
                << '\n';
        }
    }
}

int describePath(const Context& context, const std::string& text, const ServiceOptions& options) {
    const auto target = Target::ofResource(text, options.to);
    if (!target) {
        return misused(context, target.error());
    }
    Inspector inspector(context, *target, options.deadline);
    if (inspector.status() != DONE) {
        return inspector.status();
    }
    const auto mounts = inspector.read<Mounts>("resources");
    if (!mounts) {
        return inspector.status();
    }
    bool isFound = false;
    for (const auto& [path, offer] : offersOf(*mounts)) {
        if (canMatch(path, target->resource)) {
            describeOffer(context, path, offer);
            isFound = true;
        }
    }
    if (!isFound) {
        printError(context, "the service describes no resource '" + target->resource + "'",
                   "'kova tree " + target->serviceText() + "' lists those that it describes");
    }
    return isFound ? DONE : REFUSED;
}

void addDescribe(Words& words) {
    struct Options {
        ServiceOptions service;
        std::string path;
    };
    const auto options = std::make_shared<Options>();
    CLI::App& word = words.add(
        "describe", "Prints what can be done with a resource, and the JSON Schemas of its values",
        {"kova describe 'kova:/device$/system/memory'",
         "kova describe --to unix:player.sock /level"});
    word.add_option("PATH", options->path, "the resource: a path, a locator or an address")
        ->required()
        ->type_name("");
    options->service.addTo(word);
    words.onSelected(word, [options](const Context& context) {
        return describePath(context, options->path, options->service);
    });
}

}  // namespace

void addResources(Words& words) {
    addTree(words);
    addDescribe(words);
}

}  // namespace kova::tool
