// Implements `osal::Environment` for a device that stores its settings in a file, one "NAME=VALUE"
// per line. The process environment is not used.
#include "osal/Environment.h"

#include <fstream>

namespace osal {

std::string Environment::getVariable(char const* name) {
    if (name == nullptr) {
        return {};
    }
    const std::string start = std::string(name) + "=";
    std::ifstream settings(DEVICE_SETTINGS);
    for (std::string line; std::getline(settings, line);) {
        if (line.compare(0, start.size(), start) == 0) {
            return line.substr(start.size());
        }
    }
    return {};
}

}  // namespace osal
