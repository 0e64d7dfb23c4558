#pragma once

#include <string>
#include <string_view>

namespace kova::tool {

/// A file that only its owner may read, because it contains payloads of other programs. Not
/// synchronized.
///
///     OutputFile file("device.jsonl");
///     if (file.open()) file.write("{}\n");
///     if (!file.close()) std::cerr << file.reason();
class OutputFile {
public:
    /// Names the file; "-" is standard output.
    explicit OutputFile(std::string name) : name_(std::move(name)) {}
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Replaces the file by an empty one. Returns false if that is impossible.
    bool open();
    /// Writes a text. `hasFailed` returns whether that has failed.
    void write(std::string_view text);
    /// Closes the file. Returns false if this or an earlier call has failed.
    bool close();
    /// Returns whether a call has failed.
    bool hasFailed() const noexcept { return error_ != 0; }
    /// Returns the reason of the first failure.
    std::string reason() const;

private:
    const std::string name_;
    int descriptor_ = -1;
    int error_ = 0;
};

}  // namespace kova::tool
