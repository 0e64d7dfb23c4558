#include "PayloadInput.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <limits>
#include <system_error>
#include <utility>

#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

kit::Error unreadable(const std::string& file) {
    return {400, "cannot read " + (file == "-" ? "standard input" : "'" + file + "'") + ": " +
                     std::generic_category().message(errno)};
}

/// Lets Ctrl-C and SIGTERM end the process while a payload is read, because there is no request to
/// cancel yet.
class Interruptible {
public:
    Interruptible() noexcept {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_UNBLOCK, &signals, &former_);
    }
    ~Interruptible() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

private:
    sigset_t former_{};
};

// Reads until the end of the file. Returns false, with `errno`, if a read fails.
bool readAll(int descriptor, std::string& bytes) {
    std::array<char, 65536> block;
    while (true) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count == 0) {
            return true;
        }
        if (count > 0) {
            bytes.append(block.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return false;
        }
    }
}

Payload payloadOf(const std::string& bytes, const std::string& type) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), type);
}

// Returns the payload if it is valid JSON. Converts it to the binary format if `binary` is set.
kit::Result<Payload> checkJson(Payload payload, bool binary) {
    constexpr std::size_t UNLIMITED = std::numeric_limits<std::size_t>::max();
    kit::Limits limits;
    limits.elements = limits.textBytes = UNLIMITED;
    const auto tree = kit::fromPayload<kit::Tree>(payload, limits);
    if (!tree) {
        return kit::Error{400, "the payload is not JSON: " + tree.error().message +
                                   "; a text needs quotes, such as '\"blue\"', and --type "
                                   "plain/text sends the bytes verbatim"};
    }
    if (binary) {
        return kit::toPayload(*tree, mimetypes::AXOBIN_TYPE);
    }
    return payload;
}

}  // namespace

kit::Result<std::string> readBytes(const std::string& file, const Context& context) {
    const Interruptible interruptible;
    const bool isInput = file == "-";
    const int descriptor = isInput ? context.input : ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 && !isInput) {
        return unreadable(file);
    }
    std::string bytes;
    const bool isRead = readAll(descriptor, bytes);
    const kit::Error error = isRead ? kit::Error{} : unreadable(file);
    if (!isInput) {
        ::close(descriptor);
    }
    return isRead ? kit::Result<std::string>(std::move(bytes)) : error;
}

kit::Result<Payload> readPayload(const PayloadInput& input, const Context& context) {
    if (!input.text && !input.file) {
        return Payload();
    }
    kit::Result<std::string> bytes = input.file           ? readBytes(*input.file, context)
                                     : *input.text == "-" ? readBytes("-", context)
                                                          : *input.text;
    if (!bytes) {
        return bytes.error();
    }
    Payload payload = payloadOf(*bytes, input.type);
    return input.type == mimetypes::JSON_TYPE ? checkJson(std::move(payload), input.binary)
                                              : kit::Result<Payload>(std::move(payload));
}

}  // namespace kova::tool
