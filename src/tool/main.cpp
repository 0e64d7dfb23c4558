// The program kova.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "Context.h"
#include "ExitStatus.h"
#include "Program.h"
#include "kova/core/headers.h"
#include "kova/kit/StopSignals.h"

namespace {

using kova::tool::Screen;

Screen screenOf(std::ostream& stream, int descriptor) {
    return {stream, ::isatty(descriptor) != 0, false, [descriptor] {
                Screen::Size result;
                winsize size{};
                if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
                    result = {size.ws_col, size.ws_row};
                }
                return result;
            }};
}

// Opens /dev/null for each closed standard descriptor; a socket or a file would get its number, and
// the output of the program would be written into it. Writing fails, as it does without this.
void openStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(::open("/dev/null", O_RDONLY));  // the lowest free number
        }
    }
}

}  // namespace

int main(int argc, char** argv) try {
    openStandardDescriptors();
    std::ios::sync_with_stdio(false);
    kova::headers::setAgt("");          // the token of the environment
    const kova::kit::StopSignals stop;  // before the first thread
    kova::tool::Context context{screenOf(std::cout, STDOUT_FILENO),
                                screenOf(std::cerr, STDERR_FILENO), STDIN_FILENO, stop.descriptor(),
                                STDOUT_FILENO};
    int status = kova::tool::runProgram(std::vector<std::string>(argv + 1, argv + argc), context);
    if (!std::cout.flush() && status == kova::tool::DONE) {
        std::cerr << "kova: cannot write to standard output\n";
        status = kova::tool::OUTPUT_FAILED;
    }
    return status;
} catch (const std::exception& error) {
    std::cerr << "kova: " << error.what() << '\n';
    return kova::tool::FAILED;
}
