#include "OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace kova::tool {

OutputFile::~OutputFile() {
    close();
}

bool OutputFile::open() {
    descriptor_ = name_ == "-" ? ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                               : ::open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC,
                                        S_IRUSR | S_IWUSR);
    error_ = descriptor_ < 0 ? errno : 0;
    struct stat status {};
    // The file may have existed with other rights.
    if (!hasFailed() &&
        (::fstat(descriptor_, &status) != 0 || (name_ != "-" && S_ISREG(status.st_mode) &&
                                                ::fchmod(descriptor_, S_IRUSR | S_IWUSR) != 0))) {
        error_ = errno;
    }
    return !hasFailed();
}

void OutputFile::write(std::string_view text) {
    while (!text.empty() && !hasFailed()) {
        const ssize_t count = ::write(descriptor_, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
}

bool OutputFile::close() {
    const int descriptor = std::exchange(descriptor_, -1);
    if (descriptor >= 0 && ::close(descriptor) != 0 && !hasFailed()) {
        error_ = errno;
    }
    return !hasFailed();
}

std::string OutputFile::reason() const {
    return std::generic_category().message(error_);
}

}  // namespace kova::tool
