#pragma once

#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova::detail {

/// The source position that a report names. Log-processing tools match it, so some lines are fixed
/// by the interface and are not those of the code.
struct SourcePosition {
    char const* file;
    int line;
};

/// Reports the error of the catalogue and keeps it as the latest error of the thread.
template <typename... Arguments>
void report(const SourcePosition& position, int error, const Arguments&... arguments) {
    zel::ErrorOutput(position.file, position.line, true)(errors::Error, error, arguments...);
}

}  // namespace kova::detail
