#include "kova/kit/ServiceManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/NotifyReceiver.h"

namespace kova::kit {
namespace {

using kova::test::abstractSocket;
using kova::test::NotifyReceiver;

// Sets environment variables for the duration of one test.
class ServiceManagerTest : public ::testing::Test {
protected:
    ~ServiceManagerTest() override {
        for (char const* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            ::unsetenv(name);
        }
    }
    static void set(char const* name, const std::string& value) {
        ::setenv(name, value.c_str(), 1);
    }
    void withSocket() { set("NOTIFY_SOCKET", receiver.name()); }

    NotifyReceiver receiver{abstractSocket("manager")};
    std::unique_ptr<Service> service = ServiceBuilder().build();
};

TEST_F(ServiceManagerTest, EachStateIsSentAsAMessage) {
    withSocket();
    const ServiceManager manager(*service);
    EXPECT_TRUE(manager.isPresent());
    EXPECT_FALSE(manager.hasWatchdog());
    EXPECT_TRUE(manager.ready());
    EXPECT_TRUE(manager.status("3 players"));
    EXPECT_TRUE(manager.stopping());
    EXPECT_EQ(receiver.receive(), "READY=1");
    EXPECT_EQ(receiver.receive(), "STATUS=3 players");
    EXPECT_EQ(receiver.receive(), "STOPPING=1");
}

TEST_F(ServiceManagerTest, StatusIsSentAsOneLine) {
    withSocket();
    const ServiceManager manager(*service);
    EXPECT_TRUE(manager.status("a\nMAINPID=1\r\x7f\xC3\xA4"));
    EXPECT_EQ(receiver.receive(), "STATUS=a MAINPID=1  \xC3\xA4");
}

TEST_F(ServiceManagerTest, NothingIsSentWithoutASocket) {
    set("WATCHDOG_USEC", "1000");
    ServiceManagerOptions options;
    options.isHealthy = [] {
        ADD_FAILURE() << "checked without a watchdog";
        return true;
    };
    const ServiceManager manager(*service, options);
    EXPECT_FALSE(manager.isPresent());
    EXPECT_FALSE(manager.hasWatchdog());
    EXPECT_FALSE(manager.ready());
}

struct WatchdogRow {
    char const* name;
    std::string period;
    std::string process;
    bool isOn;
};

const WatchdogRow WATCHDOGS[] = {{"NoPeriod", "", "", false},
                                 {"Zero", "0", "", false},
                                 {"HalfIsZero", "1", "", false},
                                 {"Malformed", "20ms", "", false},
                                 {"Negative", "-2", "", false},
                                 {"TooLargeForAnInteger", "18446744073709551616", "", false},
                                 {"AnyProcess", "20000000", "", true},
                                 {"Greatest", "18446744073709551615", "", true},
                                 {"ThisProcess", "20000000", std::to_string(::getpid()), true},
                                 {"AnotherProcess", "20000000", "1", false},
                                 {"MalformedProcess", "20000000", "self", false}};

class ServiceManagerWatchdogs : public ServiceManagerTest,
                                public ::testing::WithParamInterface<WatchdogRow> {};

TEST_P(ServiceManagerWatchdogs, EnvironmentEnablesTheWatchdog) {
    withSocket();
    set("WATCHDOG_USEC", GetParam().period);
    set("WATCHDOG_PID", GetParam().process);
    const ServiceManager manager(*service);
    EXPECT_EQ(manager.hasWatchdog(), GetParam().isOn);
    if (GetParam().isOn) {
        EXPECT_EQ(receiver.receive(), "WATCHDOG=1");
    }
}

INSTANTIATE_TEST_SUITE_P(ServiceManagerTest, ServiceManagerWatchdogs,
                         ::testing::ValuesIn(WATCHDOGS),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(ServiceManagerTest, WatchdogReportsAnAnsweringServicePeriodically) {
    withSocket();
    set("WATCHDOG_USEC", "2000");
    const ServiceManager manager(*service);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(receiver.receive(), "WATCHDOG=1");
    }
}

TEST_F(ServiceManagerTest, WatchdogReportsAServiceThatAnswersWithAnError) {
    Resource root;  // answers 404
    service = ServiceBuilder().mount("/", root).build();
    withSocket();
    set("WATCHDOG_USEC", "20000000");
    const ServiceManager manager(*service);
    EXPECT_EQ(receiver.receive(), "WATCHDOG=1");
}

TEST_F(ServiceManagerTest, WatchdogDoesNotReportAnUnresponsiveService) {
    std::mutex mutex;
    std::vector<Reply<int>> replies;
    std::promise<void> third;
    Resource root;
    root.on(command::retrieve, "", [&](const Ask&, Reply<int> reply) {
        const std::lock_guard<std::mutex> guard(mutex);
        replies.push_back(std::move(reply));
        if (replies.size() == 3) {
            third.set_value();
        }
    });
    service = ServiceBuilder().mount("/", root).build();
    withSocket();
    set("WATCHDOG_USEC", "2000");
    {
        const ServiceManager manager(*service);
        third.get_future().wait();
    }
    EXPECT_EQ(receiver.poll(), "");
    const std::lock_guard<std::mutex> guard(mutex);
    EXPECT_FALSE(replies.front().isOpen());  // cancelled
}

TEST_F(ServiceManagerTest, HealthFunctionReplacesTheRequestToTheRoot) {
    withSocket();
    set("WATCHDOG_USEC", "2000");
    std::atomic<int> checks{0};
    std::promise<void> fourth;
    ServiceManagerOptions options;
    options.isHealthy = [&] {
        const int check = ++checks;
        if (check == 4) {
            fourth.set_value();
        }
        return check == 2;
    };
    {
        const ServiceManager manager(*service, options);
        fourth.get_future().wait();
    }
    EXPECT_EQ(receiver.poll(), "WATCHDOG=1");
    EXPECT_EQ(receiver.poll(), "");
}

TEST_F(ServiceManagerTest, DestructorInterruptsTheWaitForTheNextWatchdogMessage) {
    withSocket();
    set("WATCHDOG_USEC", "18446744073709551615");
    {
        const ServiceManager manager(*service);
        EXPECT_EQ(receiver.receive(), "WATCHDOG=1");
    }
    EXPECT_EQ(receiver.poll(), "");
}

}  // namespace
}  // namespace kova::kit
