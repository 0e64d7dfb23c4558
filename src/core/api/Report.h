#pragma once

#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova::detail {

/// The source position in a report. Log-processing tools match it. Therefore some line numbers are
/// fixed by the interface and differ from the lines of the code.
struct SourcePosition {
    char const* file;
    int line;
};

/// Reports the error of the catalogue and stores it as the latest error of the thread.
template <typename... Arguments>
void report(const SourcePosition& position, int error, const Arguments&... arguments) {
    zel::ErrorOutput(position.file, position.line, true)(errors::Error, error, arguments...);
}

}  // namespace kova::detail
