#pragma once

#include <cstdio>
#include <fstream>
#include <string>

namespace kova::bench {

/// Prints the size of the program's resident memory and that of its anonymous part, in KiB.
inline void printResidentMemory() {
    std::ifstream status("/proc/self/status");
    long resident = 0;
    long own = 0;
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            status >> resident;
        } else if (word == "RssAnon:") {
            status >> own;
        }
    }
    std::printf("%ld %ld\n", resident, own);
}

}  // namespace kova::bench
