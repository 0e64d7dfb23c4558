#pragma once

#include <string>

#include "osal/Export.h"

namespace osal {

/// Read access to the environment of the process.
///
///     const std::string token = osal::Environment::getVariable("ZEL_CONFIG_KOVA_AGT");
class OSAL_API Environment {
public:
    /// Returns the value of the variable `name`, or an empty text if it is not set or `name` is
    /// null. Any thread may call it, but not while a thread changes the environment (as for
    /// `getenv`).
    static std::string getVariable(char const* name);
};

}  // namespace osal
