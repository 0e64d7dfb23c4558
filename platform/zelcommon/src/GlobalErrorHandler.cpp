#include "zel/GlobalErrorHandler.h"

#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace zel {

namespace {

// Writes the parts of the line with one call of writev(2), because joining the parts would allocate
// memory.
void writeReason(char const* file, char const* function, char const* message) {
    char const* const pieces[] = {file, ": ", function, ": ", message, "\n"};
    iovec vectors[std::size(pieces)];
    for (std::size_t i = 0; i < std::size(pieces); ++i) {
        vectors[i] = {const_cast<char*>(pieces[i]), std::strlen(pieces[i])};
    }
    if (writev(STDERR_FILENO, vectors, static_cast<int>(std::size(pieces))) < 0) {
        return;  // the process is aborted anyway
    }
}

std::atomic<GlobalErrorHandler::Handler> handler{writeReason};

thread_local bool handling = false;

struct Handling {
    Handling() { handling = true; }
    ~Handling() { handling = false; }
};

}  // namespace

void GlobalErrorHandler::doAbort(char const* file, char const* function, char const* message) {
    if (handling) {
        writeReason(file, function, message);
    } else {
        const Handling scope;
        handler.load()(file, function, message);
    }
    std::abort();
}

GlobalErrorHandler::Handler GlobalErrorHandler::setHandler(Handler newHandler) noexcept {
    const Handler former = handler.exchange(newHandler != nullptr ? newHandler : writeReason);
    return former == writeReason ? nullptr : former;
}

}  // namespace zel
