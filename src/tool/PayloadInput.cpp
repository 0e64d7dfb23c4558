#include "PayloadInput.h"

#include <fcntl.h>
#include <poll.h>
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
/// cancel yet. In a shell, they are left to the descriptor of the context.
class Interruptible {
public:
    explicit Interruptible(bool isInShell) noexcept {
        sigset_t signals;
        sigemptyset(&signals);
        if (!isInShell) {
            sigaddset(&signals, SIGINT);
            sigaddset(&signals, SIGTERM);
        }
        pthread_sigmask(SIG_UNBLOCK, &signals, &former_);
    }
    ~Interruptible() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

private:
    sigset_t former_{};
};

// Waits until the descriptor is readable. Returns false, with `errno`, if Ctrl-C was pressed or the
// wait failed.
bool waitForInput(int descriptor, int interrupt) {
    std::array<pollfd, 2> sources{{{descriptor, POLLIN, 0}, {interrupt, POLLIN, 0}}};
    int count = -1;
    do {
        count = ::poll(sources.data(), sources.size(), -1);
    } while (count < 0 && errno == EINTR);
    if (sources[1].revents != 0) {
        errno = ECANCELED;
        return false;
    }
    return count > 0;
}

// Reads until the end of the file. Returns false, with `errno`, if a read fails or if `interrupt`
// becomes readable; -1 is for none. Fails with EFBIG if there are more than `most` bytes.
bool readAll(int descriptor, int interrupt, std::size_t most, std::string& bytes) {
    std::array<char, 65536> block;
    while (interrupt < 0 || waitForInput(descriptor, interrupt)) {
        const ssize_t count = ::read(descriptor, block.data(), block.size());
        if (count == 0) {
            return true;
        }
        if (count > 0) {
            bytes.append(block.data(), static_cast<std::size_t>(count));
            if (bytes.size() > most) {
                errno = EFBIG;
                return false;
            }
        } else if (errno != EINTR && errno != EAGAIN) {
            return false;
        }
    }
    return false;
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

kit::Result<std::string> readBytes(const std::string& file, const Context& context,
                                   std::size_t most) {
    const Interruptible interruptible(context.isInShell);
    const bool isInput = file == "-";
    // Opening a FIFO waits for its writer, and Ctrl-C would not end this wait in a shell.
    const int flags = O_RDONLY | O_CLOEXEC | (context.isInShell ? O_NONBLOCK : 0);
    const int descriptor = isInput ? context.input : ::open(file.c_str(), flags);
    if (descriptor < 0 && !isInput) {
        return unreadable(file);
    }
    std::string bytes;
    const bool isRead =
        readAll(descriptor, context.isInShell ? context.interrupt : -1, most, bytes);
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
