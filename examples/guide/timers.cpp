// Calls functions later: once, periodically, and not at all after a stop.
#include <chrono>
#include <future>
#include <iostream>

#include "kova/core/Alarm.h"
#include "kova/core/Disposable.h"
#include "kova/core/Timer.h"

using std::chrono::milliseconds;

// A timer expires once for each start.
void expireOnce() {
    std::promise<void> expired;
    kova::FunctionalTimer timer([&expired] {
        std::cout << "the timer expired\n";
        expired.set_value();
    });
    if (timer.start(milliseconds(5))) {
        std::cout << "the timer could not be started\n";
        return;
    }
    expired.get_future().wait();
}

// A periodic alarm continues until it is stopped. Its function may stop it.
void beatThreeTimes() {
    std::promise<void> done;
    int beats = 0;
    kova::FunctionalAlarm* self = nullptr;
    kova::FunctionalAlarm alarm([&] {
        std::cout << "beat " << ++beats << '\n';
        if (beats == 3) {
            self->stop();
            done.set_value();
        }
    });
    self = &alarm;
    if (alarm.start(2, true)) {
        std::cout << "the alarm could not be started\n";
        return;
    }
    done.get_future().wait();
}

// A timer that is stopped before it expires never calls its function. When `stop` returns, the
// function is not running and will not run, so the objects that it uses can be destroyed.
void giveUpInTime() {
    bool gaveUp = false;
    kova::FunctionalTimer deadline([&gaveUp] { gaveUp = true; });
    if (deadline.start(std::chrono::hours(1))) {
        std::cout << "the deadline could not be set\n";
        return;
    }
    deadline.stop();
    std::cout << (gaveUp ? "gave up\n" : "done before the deadline\n");
}

int main() {
    expireOnce();
    beatThreeTimes();
    giveUpInTime();

    kova::FunctionalAlarm alarm([] {});
    std::cout << "an interval of 0 is " << (alarm.start(0, true) ? "refused" : "taken") << '\n';

    // A clean-up function that runs once, on the first `dispose`, not at the end of its scope.
    kova::Disposable cleanUp([] { std::cout << "cleaned up\n"; });
    cleanUp.dispose();
    cleanUp.dispose();
}
