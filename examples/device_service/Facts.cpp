#include "Facts.h"

#include <sys/statvfs.h>

#include <charconv>
#include <locale>
#include <set>
#include <sstream>

#include "zel/unicode/String.h"

namespace device {

namespace {

// Calls the function for each line. The function gets the line as a stream, which parses numbers
// independently of the global locale. A line that is not UTF-8, for example with the label of a
// memory stick, is replaced by an empty line, because JSON cannot represent its text.
template <typename Function>
void forEachLine(std::istream& file, const Function& function) {
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(zel::unicode::isUtf8(line) ? line : std::string());
        fields.imbue(std::locale::classic());
        function(fields);
    }
}

// Replaces the kernel's octal escapes in a field, such as "\040" for a blank.
std::string unescaped(std::string text) {
    for (std::size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at + 1)) {
        char const* const digits = text.data() + at + 1;
        unsigned int code = 0;
        if (at + 3 < text.size() &&
            std::from_chars(digits, digits + 3, code, 8).ptr == digits + 3 && code < 0x80) {
            text.replace(at, 4, 1, static_cast<char>(code));
        }
    }
    return text;
}

}  // namespace

// "cpu  USER NICE SYSTEM IDLE IOWAIT …": clock ticks of all processors. One line for each processor
// follows.
Counts readCpu(std::istream& file) {
    Counts facts;
    forEachLine(file, [&](std::istream& fields) {
        std::string name;
        fields >> name;
        std::uint64_t ticks = 0;
        for (char const* const what : {"user", "nice", "system", "idle", "iowait"}) {
            if (name == "cpu" && fields >> ticks) {
                facts[what] = ticks;
            }
        }
        if (name.size() > 3 && name.compare(0, 3, "cpu") == 0) {
            ++facts["processors"];
        }
    });
    return facts;
}

Load readLoad(std::istream& file) {
    Load load = {0.0, 0.0, 0.0, 0U, 0U};
    char slash = 0;
    file.imbue(std::locale::classic());
    file >> *load.minutes1 >> *load.minutes5 >> *load.minutes15;
    file >> *load.running >> slash >> *load.tasks;
    return file ? load : Load();
}

Counts readMemory(std::istream& file) {
    static const std::set<std::string> SERVED = {
        "MemTotal:", "MemFree:", "MemAvailable:", "Buffers:", "Cached:", "SwapTotal:", "SwapFree:"};
    Counts facts;
    forEachLine(file, [&](std::istream& fields) {
        std::string name;
        std::uint64_t kilobytes = 0;
        if (fields >> name >> kilobytes && SERVED.count(name) != 0) {
            facts[name.substr(0, name.size() - 1)] = kilobytes * 1024;
        }
    });
    return facts;
}

// Two header lines, then for each interface "NAME: " and eight counters for each direction.
std::map<std::string, Counts> readNetwork(std::istream& file) {
    std::map<std::string, Counts> facts;
    forEachLine(file, [&](std::istream& fields) {
        std::string name;
        std::uint64_t counters[16] = {};
        std::getline(fields >> std::ws, name, ':');
        for (std::uint64_t& counter : counters) {
            fields >> counter;
        }
        if (fields) {
            facts[name] = {{"receivedBytes", counters[0]},  {"receivedPackets", counters[1]},
                           {"receivedErrors", counters[2]}, {"sentBytes", counters[8]},
                           {"sentPackets", counters[9]},    {"sentErrors", counters[10]}};
        }
    });
    return facts;
}

// "DEVICE FOLDER TYPE OPTIONS …"
std::map<std::string, Mount> readStorage(std::istream& file) {
    std::map<std::string, Mount> facts;
    forEachLine(file, [&](std::istream& fields) {
        std::string source;
        std::string folder;
        std::string type;
        struct statvfs space {};
        fields >> source >> folder >> type;
        folder = unescaped(folder);
        if (source.compare(0, 5, "/dev/") == 0 && statvfs(folder.c_str(), &space) == 0) {
            facts[folder] = {space.f_bavail * space.f_frsize, unescaped(source),
                             space.f_blocks * space.f_frsize, type};
        }
    });
    return facts;
}

std::map<std::string, double> readUptime(std::istream& file) {
    double up = 0;
    double idle = 0;
    file.imbue(std::locale::classic());
    if (file >> up >> idle) {
        return {{"idle", idle}, {"up", up}};
    }
    return {};
}

}  // namespace device
