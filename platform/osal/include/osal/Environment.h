#pragma once

#include <string>

#include "osal/Export.h"

namespace osal {

/// Read access to the environment of the process.
class OSAL_API Environment {
public:
    /// The text of the variable `name`; empty when it is not set or `name` is null. Any thread may
    /// call it as long as no thread changes the environment meanwhile (the rule of `getenv`).
    static std::string getVariable(char const* name);
};

}  // namespace osal
