#include "osal/Environment.h"

#include <cstdlib>

namespace osal {

std::string Environment::getVariable(char const* name) {
    char const* text = name != nullptr ? std::getenv(name) : nullptr;
    return text != nullptr ? text : std::string();
}

}  // namespace osal
