#include "SystemInfo.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>

#include "util/config/Scalars.h"
#include "zel/unicode/String.h"

namespace device {

namespace {

using util::config::Dictionary;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;

void add(Dictionary& facts, const std::string& name, unsigned long number) {
    facts.add(name, new ValueInt(number));
}

void add(Dictionary& facts, const std::string& name, double number) {
    facts.add(name, new ValueFloat(number));
}

// Reads the next line that is UTF-8. A name that is not UTF-8 (such as the label of a memory stick)
// cannot be represented in JSON and would make all other facts unavailable.
bool nextLine(std::istream& file, std::string& line) {
    do {
        std::getline(file, line);
    } while (file && !zel::unicode::isUtf8(line));
    return !file.fail();
}

// Returns a stream that parses numbers independently of the global locale.
std::istringstream fieldsOf(const std::string& line) {
    std::istringstream fields(line);
    fields.imbue(std::locale::classic());
    return fields;
}

// The entries of /proc/meminfo that are served.
constexpr char const* MEMORY[] = {"MemTotal", "MemFree",   "MemAvailable", "Buffers",
                                  "Cached",   "SwapTotal", "SwapFree"};

void readMemory(std::istream& file, Dictionary& facts) {
    for (std::string line; nextLine(file, line);) {
        auto fields = fieldsOf(line);
        std::string name;
        unsigned long kilobytes = 0;
        const bool told = !(fields >> name >> kilobytes).fail();
        name.erase(std::min(name.size(), name.find(':')));
        if (told && std::find(std::begin(MEMORY), std::end(MEMORY), name) != std::end(MEMORY)) {
            add(facts, name, kilobytes * 1024);
        }
    }
}

void readLoad(std::istream& file, Dictionary& facts) {
    double minutes1 = 0;
    double minutes5 = 0;
    double minutes15 = 0;
    unsigned long running = 0;
    unsigned long tasks = 0;
    char slash = 0;
    if (file >> minutes1 >> minutes5 >> minutes15 >> running >> slash >> tasks) {
        add(facts, "1min", minutes1);
        add(facts, "5min", minutes5);
        add(facts, "15min", minutes15);
        add(facts, "running", running);
        add(facts, "tasks", tasks);
    }
}

void readUptime(std::istream& file, Dictionary& facts) {
    double up = 0;
    double idle = 0;
    if (file >> up >> idle) {
        add(facts, "up", up);
        add(facts, "idle", idle);
    }
}

// "cpu  USER NICE SYSTEM IDLE IOWAIT …": the time that all processors spent, in clock ticks. One
// line for each processor follows.
void readCpu(std::istream& file, Dictionary& facts) {
    unsigned long processors = 0;
    for (std::string line; nextLine(file, line);) {
        auto fields = fieldsOf(line);
        std::string name;
        fields >> name;
        if (name == "cpu") {
            unsigned long ticks = 0;
            for (char const* const what : {"user", "nice", "system", "idle", "iowait"}) {
                if (fields >> ticks) {
                    add(facts, what, ticks);
                }
            }
        } else if (name.compare(0, 3, "cpu") == 0) {
            ++processors;
        }
    }
    if (processors > 0) {
        add(facts, "processors", processors);
    }
}

// Replaces the kernel's octal escapes in a field, such as "\040" for a blank.
std::string unescaped(const std::string& field) {
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        char const* const digits = field.data() + i + 1;
        unsigned int code = 0;
        if (field[i] == '\\' && i + 3 < field.size() &&
            std::from_chars(digits, digits + 3, code, 8).ptr == digits + 3 && code < 0x80) {
            text += static_cast<char>(code);
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

// "DEVICE FOLDER TYPE OPTIONS …": reads the mounts of devices, with their total and free space.
void readStorage(std::istream& file, Dictionary& facts) {
    for (std::string line; nextLine(file, line);) {
        auto fields = fieldsOf(line);
        std::string source;
        std::string folder;
        std::string type;
        struct statvfs space {};
        fields >> source >> folder >> type;
        folder = unescaped(folder);
        if (source.compare(0, 5, "/dev/") != 0 || statvfs(folder.c_str(), &space) != 0) {
            continue;
        }
        auto* const mount = new Dictionary();
        mount->add("device", new ValueString(unescaped(source)));
        mount->add("type", new ValueString(type));
        add(*mount, "size", space.f_blocks * space.f_frsize);
        add(*mount, "available", space.f_bavail * space.f_frsize);
        facts.set(folder, mount);
    }
}

// Two header lines, then for each interface "NAME: " and sixteen counters, eight for each
// direction.
void readNetwork(std::istream& file, Dictionary& facts) {
    for (std::string line; nextLine(file, line);) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        auto fields = fieldsOf(line.substr(colon + 1));
        unsigned long counters[16] = {};
        for (unsigned long& counter : counters) {
            fields >> counter;
        }
        if (!fields) {
            continue;
        }
        auto* const interface = new Dictionary();
        add(*interface, "receivedBytes", counters[0]);
        add(*interface, "receivedPackets", counters[1]);
        add(*interface, "receivedErrors", counters[2]);
        add(*interface, "sentBytes", counters[8]);
        add(*interface, "sentPackets", counters[9]);
        add(*interface, "sentErrors", counters[10]);
        const std::size_t start = line.find_first_not_of(' ');
        facts.set(line.substr(start, colon - start), interface);
    }
}

struct Source {
    char const* name;
    char const* file;
    void (*read)(std::istream&, Dictionary&);
};

constexpr Source SOURCES[] = {
    {"cpu", "/proc/stat", readCpu},           {"load", "/proc/loadavg", readLoad},
    {"memory", "/proc/meminfo", readMemory},  {"network", "/proc/net/dev", readNetwork},
    {"storage", "/proc/mounts", readStorage}, {"uptime", "/proc/uptime", readUptime}};

Source const* find(const std::string& name) {
    Source const* const found = std::find_if(std::begin(SOURCES), std::end(SOURCES),
                                             [&](const Source& row) { return row.name == name; });
    return found != std::end(SOURCES) ? found : nullptr;
}

}  // namespace

std::vector<std::string> SystemInfo::names() {
    std::vector<std::string> names;
    for (const Source& source : SOURCES) {
        names.emplace_back(source.name);
    }
    return names;
}

bool SystemInfo::has(const std::string& name) {
    return find(name) != nullptr;
}

std::unique_ptr<Dictionary> SystemInfo::read(const std::string& name) const {
    Source const* const source = find(name);
    std::ifstream file(source != nullptr ? root_ + source->file : std::string());
    file.imbue(std::locale::classic());
    if (!file) {
        return nullptr;
    }
    auto facts = std::make_unique<Dictionary>();
    source->read(file, *facts);
    return facts;
}

}  // namespace device
