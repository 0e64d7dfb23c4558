#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ShellLine.h"

namespace kova::tool {

/// Reads lines from the terminal at standard input, with editing, history and completion
/// (libedit). Not synchronized. At most one object exists at a time.
class LineEditor {
public:
    /// Returns what the tab key does when the cursor follows `line`.
    using Complete = std::function<LineCompletion(const std::string& line)>;
    /// How `read` has ended.
    enum class Outcome { line, interrupted, ended };

    /// Loads the lines of the history file, if it can be read; "" means no history file.
    /// `interrupt` is a descriptor that is readable from Ctrl-C on, or -1.
    LineEditor(int interrupt, std::string historyFile, Complete complete);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /// Shows the prompt and reads a line, without its end. Returns `interrupted` if the descriptor
    /// became readable, and `ended` after Ctrl-D or the end of the terminal.
    Outcome read(std::string& line);
    /// Adds a line to the history and stores the history in its file, with the mode 0600. Ignores
    /// errors of writing the file.
    void remember(const std::string& line);

private:
    struct Parts;
    const std::unique_ptr<Parts> parts_;
};

/// Returns the file for the history of the shell: "kova/shell-history" below the directory
/// XDG_STATE_HOME, or below ".local/state" in the directory HOME. Creates the directories with the
/// mode 0700. Returns "" if there is no such directory.
std::string historyFile();

}  // namespace kova::tool
