#include "CallLoop.h"

#include <poll.h>

#include <algorithm>
#include <array>

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds LONGEST_POLL{60000};

// Returns the timeout for `poll` in milliseconds: the time left until `until`, rounded up, and at
// most `LONGEST_POLL`. Returns -1, which means no timeout, if there is no `until`.
int pollTime(const std::optional<CallLoop::Clock::time_point>& until) {
    if (!until) {
        return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(*until - CallLoop::Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), LONGEST_POLL).count());
}

}  // namespace

CallLoop::Reason CallLoop::run(const std::function<bool()>& condition,
                               std::optional<Clock::time_point> until) {
    return runUntil(interrupt_, output_, condition, until);
}

void CallLoop::finish(const std::function<bool()>& condition, milliseconds limit) {
    runUntil(-1, -1, condition, Clock::now() + limit);
}

CallLoop::Reason CallLoop::runUntil(int interrupt, int output,
                                    const std::function<bool()>& condition,
                                    std::optional<Clock::time_point> until) {
    while (!condition()) {
        // With no events requested for the output, `poll` reports only its errors.
        std::array<pollfd, 3> descriptors{
            {{loop_.fd(), POLLIN, 0}, {interrupt, POLLIN, 0}, {output, 0, 0}}};
        ::poll(descriptors.data(), descriptors.size(), pollTime(until));
        if (descriptors[1].revents != 0) {
            return Reason::interrupted;
        }
        if ((descriptors[2].revents & (POLLERR | POLLHUP)) != 0) {
            return Reason::unread;
        }
        loop_.runReady();
        if (until && Clock::now() >= *until) {
            return condition() ? Reason::holds : Reason::timedOut;
        }
    }
    return Reason::holds;
}

}  // namespace kova::tool
