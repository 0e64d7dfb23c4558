#include "contract/IncludeRules.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

namespace kova::test {

namespace {

namespace fs = std::filesystem;

struct Layer {
    char const* name;
    char const* publicRoot;
    char const* privateRoot;
};

constexpr Layer LAYERS[] = {
    {"osal", "platform/osal/include", "platform/osal/src"},
    {"zelcommon", "platform/zelcommon/include", "platform/zelcommon/src"},
    {"zelutil", "platform/zelutil/include", "platform/zelutil/src"},
    {"core", "include/kova/core", "src/core"},
    {"kit", "include/kova/kit", "src/kit"},
    {"wire", "include/kova/wire", "src/wire"},  // a part of the transports: no public headers
    {"http", "include/kova/http", "src/http"},
    {"nats", "include/kova/nats", "src/nats"},
    {"tool", "include/kova/tool", "src/tool"},  // a program: there are no public headers
};
constexpr std::size_t CORE = 3;
constexpr std::size_t WIRE = 5;
constexpr std::size_t HTTP = 6;
constexpr std::size_t NATS = 7;
constexpr std::size_t TOOL = 8;

// The folders from which public headers are included.
constexpr char const* PUBLIC_ROOTS[] = {"platform/osal/include", "platform/zelcommon/include",
                                        "platform/zelutil/include", "include"};

constexpr char const* MODULES[] = {"formats",    "api",        "datatypes",         "utility",
                                   "serializer", "dovglobals", "servicecomposition"};

// A third-party library, and the layers whose sources may include its headers. All these headers
// begin with `prefix`.
struct Library {
    std::string_view prefix;
    std::size_t lowest;
    std::size_t highest;
};

constexpr Library LIBRARIES[] = {{"fmt/", 1, CORE},        {"simdjson", 2, 2},
                                 {"cbor", 2, 2},           {"nettle/", 2, 2},
                                 {"nghttp2/", HTTP, HTTP}, {"microhttpd", HTTP, HTTP},
                                 {"nats/", NATS, NATS},    {"CLI/", TOOL, TOOL}};

bool isTransport(std::size_t layer) {
    return layer == HTTP || layer == NATS;
}

struct Include {
    std::string name;
    int line;
    bool quoted;
};

struct File {
    std::size_t layer;
    bool isPublic;
    std::vector<Include> includes;
};

// Returns the name between the quotes or brackets of an include directive, or nullopt for another
// line. For a malformed directive, returns the rest of the line as a quoted name, so that it is
// reported as not found.
std::optional<Include> readInclude(const std::string& text, int line) {
    const auto skipBlanks = [&text](std::size_t i) {
        return std::min(text.find_first_not_of(" \t", i), text.size());
    };
    constexpr std::string_view WORD = "include";
    std::size_t i = skipBlanks(0);
    if (i == text.size() || text[i] != '#') {
        return std::nullopt;
    }
    i = skipBlanks(i + 1);
    if (text.compare(i, WORD.size(), WORD) != 0) {
        return std::nullopt;
    }
    i = skipBlanks(i + WORD.size());
    const bool bracket = i < text.size() && text[i] == '<';
    const std::size_t end = text.find(bracket ? '>' : '"', i + 1);
    if (end == std::string::npos || !(bracket || text[i] == '"')) {
        return Include{text.substr(i), line, true};
    }
    return Include{text.substr(i + 1, end - i - 1), line, !bracket};
}

std::vector<Include> readIncludes(const fs::path& path) {
    std::vector<Include> includes;
    std::ifstream in(path);
    std::string text;
    for (int line = 1; std::getline(in, text); ++line) {
        if (auto include = readInclude(text, line)) {
            includes.push_back(std::move(*include));
        }
    }
    return includes;
}

class Checker {
public:
    explicit Checker(const fs::path& root) {
        rules_.files.resize(std::size(LAYERS));
        for (std::size_t layer = 0; layer < std::size(LAYERS); ++layer) {
            readLayer(root, layer, LAYERS[layer].publicRoot, true);
            readLayer(root, layer, LAYERS[layer].privateRoot, false);
        }
    }

    IncludeRules check() {
        for (const auto& [path, file] : files_) {
            if (file.layer == CORE && !file.isPublic && !moduleOfPath(path)) {
                rules_.violations.push_back(path + ":1: is in no module of the core");
            }
            for (const Include& include : file.includes) {
                const std::string reason = findViolation(path, file, include);
                if (!reason.empty()) {
                    rules_.violations.push_back(path + ':' + std::to_string(include.line) + ": " +
                                                include.name + ": " + reason);
                }
            }
        }
        return std::move(rules_);
    }

private:
    void readLayer(const fs::path& root, std::size_t layer, const fs::path& folder, bool isPublic) {
        if (!fs::exists(root / folder)) {
            return;
        }
        for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
            if (entry.is_regular_file() && entry.path().filename() != "CMakeLists.txt") {
                files_[entry.path().lexically_relative(root).generic_string()] = {
                    layer, isPublic, readIncludes(entry.path())};
                ++rules_.files[layer];
            }
        }
    }

    // Returns the reason why the include violates a rule, or an empty text if it does not violate
    // one.
    std::string findViolation(const std::string& path, const File& file, const Include& include) {
        const auto target = find(path, file.layer, include.name);
        if (target == files_.end()) {
            return findForeignViolation(file, include);
        }
        const File& other = target->second;
        if (other.layer > file.layer) {
            return std::string(LAYERS[other.layer].name) + " is above " + LAYERS[file.layer].name;
        }
        if (isTransport(other.layer) && isTransport(file.layer) && other.layer != file.layer) {
            return std::string(LAYERS[file.layer].name) + " does not use another transport";
        }
        const bool isShared = other.layer == WIRE && isTransport(file.layer);
        if (!other.isPublic && other.layer != file.layer && !isShared) {
            return std::string("is private to ") + LAYERS[other.layer].name;
        }
        if (!other.isPublic && file.isPublic) {
            return "a public header includes a private one";
        }
        if (file.layer == CORE && other.layer == CORE && moduleOf(target->first) > moduleOf(path)) {
            return std::string(MODULES[moduleOf(target->first)]) + " is above " +
                   MODULES[moduleOf(path)];
        }
        return "";
    }

    static std::string findForeignViolation(const File& file, const Include& include) {
        const auto* const library = std::find_if(
            std::begin(LIBRARIES), std::end(LIBRARIES), [&include](const Library& candidate) {
                return include.name.compare(0, candidate.prefix.size(), candidate.prefix) == 0;
            });
        if (library == std::end(LIBRARIES)) {
            return include.quoted ? "is not found" : "";
        }
        if (file.isPublic) {
            return "a public header includes a third-party library";
        }
        if (file.layer < library->lowest || file.layer > library->highest) {
            return std::string(LAYERS[file.layer].name) + " does not use this library";
        }
        return "";
    }

    // Finds the included file: next to the including file, in the private folder of its layer, in
    // the public folders, in the private folder of any layer, or by its path below "src", in this
    // order.
    std::map<std::string, File>::const_iterator find(const std::string& from, std::size_t layer,
                                                     const std::string& name) const {
        std::vector<fs::path> folders = {fs::path(from).parent_path(), LAYERS[layer].privateRoot};
        folders.insert(folders.end(), std::begin(PUBLIC_ROOTS), std::end(PUBLIC_ROOTS));
        for (const Layer& other : LAYERS) {
            folders.emplace_back(other.privateRoot);
        }
        folders.emplace_back("src");
        for (const fs::path& folder : folders) {
            const auto found = files_.find((folder / name).lexically_normal().generic_string());
            if (found != files_.end()) {
                return found;
            }
        }
        return files_.end();
    }

    static std::optional<std::size_t> moduleOfPath(const std::string& path) {
        for (std::size_t module = 0; module < std::size(MODULES); ++module) {
            const std::string folder =
                std::string(LAYERS[CORE].privateRoot) + '/' + MODULES[module];
            if (path.compare(0, folder.size() + 1, folder + '/') == 0) {
                return module;
            }
        }
        return std::nullopt;
    }

    std::size_t moduleOf(const std::string& path) {
        const auto known = modules_.emplace(path, 0);
        if (known.second) {
            modules_[path] =
                files_.at(path).isPublic ? moduleOfHeader(path) : moduleOfPath(path).value_or(0);
        }
        return modules_[path];
    }

    std::size_t moduleOfHeader(const std::string& path) {
        const std::string source = fs::path(path).stem().string() + ".cpp";
        for (std::size_t module = 0; module < std::size(MODULES); ++module) {
            const fs::path folder = fs::path(LAYERS[CORE].privateRoot) / MODULES[module];
            if (files_.count((folder / source).generic_string()) != 0) {
                return module;
            }
        }
        std::size_t highest = 0;
        for (const Include& include : files_.at(path).includes) {
            const auto target = find(path, CORE, include.name);
            if (target != files_.end() && target->second.layer == CORE) {
                highest = std::max(highest, moduleOf(target->first));
            }
        }
        return highest;
    }

    /// The files of the tree by their paths relative to the root.
    std::map<std::string, File> files_;
    /// A cache of the modules of files, by path.
    std::map<std::string, std::size_t> modules_;
    IncludeRules rules_;
};

}  // namespace

IncludeRules checkIncludes(const fs::path& root) {
    return Checker(root).check();
}

}  // namespace kova::test
