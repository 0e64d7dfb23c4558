// Every callback may call every operation of the service. Each combination has a documented effect.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include "ComposedService.h"
#include "support/Reports.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using test::Answer;
using test::Answering;
using test::ComposedService;
using test::Moment;
using test::Ticket;

enum class Call { CANCEL_OWN, CANCEL_OTHER, ASK, SHUTDOWN };

struct Row {
    Moment moment;
    Call call;
    /// Expected numbers of calls of cancelRequest() for the callback's own and for another request.
    int ownCancelled;
    int otherCancelled;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << "moment " << static_cast<int>(row.moment) << " call "
               << static_cast<int>(row.call);
}

class ReentryTest : public testing::TestWithParam<Row> {
protected:
    ReentryTest() {
        composed.ask(other, "/r1/");
        nested.answering = Answering::AT_ONCE;
        own.script = [this](Moment moment) {
            if (moment == GetParam().moment) {
                call();
            }
        };
    }
    void call() {
        switch (GetParam().call) {
            case Call::CANCEL_OWN:
                return composed.cancel(own);
            case Call::CANCEL_OTHER:
                return composed.cancel(other);
            case Call::ASK:
                return composed.ask(nested);
            default:
                return composed.shutDown();
        }
    }
    void reachTheMoment() {
        composed.ask(own);
        if (GetParam().moment == Moment::CANCELLATION) {
            composed.cancel(own);
        } else if (GetParam().moment == Moment::ERROR) {
            composed.resources[0]->answer(0, Answer::ERROR);
        } else if (GetParam().moment != Moment::REQUEST) {
            composed.resources[0]->answer(
                0, GetParam().moment == Moment::VALUE ? Answer::VALUE : Answer::COMPLETION);
        }
    }

    test::Reports reports;
    test::Watchdog watchdog{"calling the service from a callback"};
    Ticket own, other, nested;
    ComposedService composed;
};

TEST_P(ReentryTest, CallFromACallbackHasTheDocumentedEffect) {
    const Row& row = GetParam();
    reachTheMoment();
    EXPECT_EQ(own.cancelCalls, row.ownCancelled);
    EXPECT_EQ(other.cancelCalls, row.otherCancelled);
    EXPECT_EQ(nested.terminations, row.call == Call::ASK ? 1 : 0);
    EXPECT_EQ(own.eventsTooLate, 0);
    EXPECT_EQ(own.outcomes() + (own.open ? 1 : 0), 1);
    composed.service->shutdown();
    EXPECT_EQ(composed.openRequests(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ReentryTest,
    testing::Values(
        Row{Moment::VALUE, Call::CANCEL_OWN, 1, 0}, Row{Moment::VALUE, Call::CANCEL_OTHER, 0, 1},
        Row{Moment::VALUE, Call::ASK, 0, 0}, Row{Moment::VALUE, Call::SHUTDOWN, 1, 1},
        // The entry is removed before the terminating event is forwarded.
        Row{Moment::COMPLETION, Call::CANCEL_OWN, 0, 0},
        Row{Moment::COMPLETION, Call::CANCEL_OTHER, 0, 1}, Row{Moment::COMPLETION, Call::ASK, 0, 0},
        Row{Moment::COMPLETION, Call::SHUTDOWN, 0, 1}, Row{Moment::ERROR, Call::CANCEL_OWN, 0, 0},
        Row{Moment::ERROR, Call::CANCEL_OTHER, 0, 1}, Row{Moment::ERROR, Call::ASK, 0, 0},
        Row{Moment::ERROR, Call::SHUTDOWN, 0, 1},
        // The entry is stored after the resource handler has returned.
        Row{Moment::REQUEST, Call::CANCEL_OWN, 0, 0},
        Row{Moment::REQUEST, Call::CANCEL_OTHER, 0, 1}, Row{Moment::REQUEST, Call::ASK, 0, 0},
        Row{Moment::REQUEST, Call::SHUTDOWN, 0, 1},
        // The entry is removed before the resource handler is called.
        Row{Moment::CANCELLATION, Call::CANCEL_OWN, 1, 0},
        Row{Moment::CANCELLATION, Call::CANCEL_OTHER, 1, 1},
        Row{Moment::CANCELLATION, Call::ASK, 1, 0},
        Row{Moment::CANCELLATION, Call::SHUTDOWN, 1, 1}));

TEST(LateEntryTest, SecondShutdownCancelsARequestThatIsStoredAfterTheFirst) {
    Ticket ticket;
    ComposedService composed;
    ticket.script = [&composed](Moment moment) {
        if (moment == Moment::REQUEST) {
            composed.shutDown();
        }
    };
    composed.ask(ticket);
    EXPECT_NE(ticket.handle, nullptr);
    composed.cancel(ticket);
    EXPECT_EQ(ticket.cancelCalls, 0) << "cancelRequest() has an effect after a shutdown";
    EXPECT_TRUE(ticket.open);
    composed.shutDown();
    EXPECT_EQ(ticket.cancelCalls, 1);
    composed.shutDown();
    EXPECT_EQ(ticket.cancelCalls, 1);
}

TEST(LateEntryTest, RequestDuringAShutdownIsRejected) {
    Ticket ticket, nested;
    ComposedService composed;
    ticket.script = [&composed, &nested](Moment moment) {
        if (moment == Moment::CANCELLATION) {
            composed.ask(nested);
        }
    };
    composed.ask(ticket);
    composed.shutDown();
    EXPECT_EQ(ticket.cancelCalls, 1);
    EXPECT_TRUE(nested.refused);
    EXPECT_EQ(nested.outcomes(), 0);
}

TEST(LateEntryTest, TerminatedRequestIsNotCancelledByAShutdown) {
    Ticket ticket;
    ComposedService composed;
    composed.ask(ticket);
    composed.resources[0]->answer(0, Answer::COMPLETION);
    composed.cancel(ticket);
    composed.shutDown();
    EXPECT_EQ(ticket.cancelCalls, 0);
}

/// A resource that completes its request in its destructor.
class CompletingResource : public IResourceHandler {
public:
    ~CompletingResource() override { handler_->onCompleted(); }
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        handler_ = std::move(handler);
        return this;
    }
    void cancelRequest(void*) override { ADD_FAILURE() << "the destructor cancelled a request"; }

private:
    std::unique_ptr<IResponseHandler<Response>> handler_;
};

TEST(DestructionTest, RequestFromACallbackDuringDestructionIsAnsweredWith404) {
    const test::Reports reports;
    Ticket ticket, nested;
    std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
    handlers["/a"] = std::make_unique<CompletingResource>();
    auto service = std::make_unique<StaticComposedKovaService>(std::move(handlers));
    ticket.script = [&ticket, &nested, running = service.get()](Moment) {
        running->cancelRequest(ticket.address());
        running->actionRequest(Request("retrieve", "/a"), nested.makeHandler());
    };
    service->actionRequest(Request("retrieve", "/a"), ticket.makeHandler());
    service.reset();
    EXPECT_EQ(ticket.terminations, 1);
    EXPECT_EQ(nested.terminations, 1) << "the nested request was not answered with \"not found\"";
    EXPECT_EQ(nested.destructions, 1);
}

}  // namespace
}  // namespace kova
