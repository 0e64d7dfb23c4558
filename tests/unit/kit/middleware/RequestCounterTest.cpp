#include <gtest/gtest.h>

#include <stdexcept>

#include "kova/core/headers.h"
#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

struct Counted {
    Counted() { chain.use(metrics(registry)); }
    explicit Counted(const std::vector<std::string>& mounts) {
        chain.use(metrics(registry, mounts));
    }

    void* send(const Request& request) {
        ++sent;
        return chain.actionRequest(request, testing::record().handler());
    }
    void serve(const Request& request, const Response& answer = Response(200)) {
        send(request);
        const auto handler = service.take(sent);
        if (answer.isErrorResponse()) {
            handler->onError(answer);
        } else {
            handler->onNext(answer);
            handler->onCompleted();
        }
    }
    bool has(const std::string& row) const {
        return ('\n' + registry.text()).find('\n' + row + '\n') != std::string::npos;
    }
    bool hasCount(const std::string& mount, const std::string& command, const std::string& code,
                  int count) const {
        return has("kova_requests_total{mount=\"" + mount + "\",command=\"" + command +
                   "\",code=\"" + code + "\"} " + std::to_string(count));
    }

    std::size_t sent = 0;
    MetricsRegistry registry;
    test::HeldService service;
    Chain chain{service};
};

TEST(RequestCounter, CountsByMountCommandAndCode) {
    Counted counted({"/lamp", "/lamp/state"});
    counted.serve({"retrieve", "/lamp/3"});
    counted.serve({"retrieve", "/lamp/4"}, Response(204));
    counted.serve({"update", "/lamp/state"}, Response::createErrorResponse(409, "no"));
    counted.serve({"delete", "/elsewhere"}, Response::createErrorResponse(500, "no"));
    counted.serve({"shine", "/lamp"});
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "2xx", 2));
    EXPECT_TRUE(counted.hasCount("/lamp/state", "update", "4xx", 1));
    EXPECT_TRUE(counted.hasCount("other", "delete", "5xx", 1));
    EXPECT_TRUE(counted.hasCount("/lamp", "other", "2xx", 1));
    EXPECT_TRUE(counted.has("kova_requests_pending 0"));
}

TEST(RequestCounter, CountsPendingRequests) {
    Counted counted({"/lamp"});
    EXPECT_TRUE(counted.has("kova_requests_pending 0"));
    void* const handle = counted.send({"retrieve", "/lamp"});
    counted.send({"retrieve", "/lamp"});
    EXPECT_TRUE(counted.has("kova_requests_pending 2"));
    counted.chain.cancelRequest(handle);
    counted.chain.cancelRequest(handle);
    EXPECT_TRUE(counted.has("kova_requests_pending 1"));
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "cancelled", 1));
    counted.service.answer(2);
    EXPECT_TRUE(counted.has("kova_requests_pending 0"));
}

TEST(RequestCounter, SuccessfulRequestsAddTheirFirstSegmentAsAMount) {
    Counted counted;
    counted.serve({"retrieve", "/lamp/3"}, Response::createErrorResponse(404, "no"));
    counted.serve({"retrieve", "/lamp/4"}, Response(201));
    counted.serve({"retrieve", "/lamp"}, Response::createErrorResponse(404, "no"));
    counted.serve({"retrieve", "/lamp/5"}, Response(304));
    EXPECT_TRUE(counted.hasCount("other", "retrieve", "4xx", 1));
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "2xx", 1));
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "3xx", 1));
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "4xx", 1));
}

TEST(RequestCounter, UnprintableAndLongSegmentsDoNotBecomeMounts) {
    Counted counted;
    const std::string longest = '/' + std::string(60, 'a');
    for (const std::string& path : {std::string("lamp"), std::string(), std::string("/a b"),
                                    std::string("/\xff"), std::string("/a\n"), longest + 'a'}) {
        counted.serve({"retrieve", path});
    }
    EXPECT_TRUE(counted.hasCount("other", "retrieve", "2xx", 6));
    counted.serve({"retrieve", longest + "/x"});
    counted.serve({"retrieve", "/"});
    EXPECT_TRUE(counted.hasCount(longest, "retrieve", "2xx", 1));
    EXPECT_TRUE(counted.hasCount("/", "retrieve", "2xx", 1));
}

TEST(RequestCounter, NumberOfLearntMountsIsBounded) {
    Counted counted;
    for (int i = 0; i < 250; ++i) {
        counted.serve({"retrieve", '/' + std::to_string(i)});
    }
    EXPECT_TRUE(counted.hasCount("/99", "retrieve", "2xx", 1));
    EXPECT_TRUE(counted.hasCount("other", "retrieve", "2xx", 150));
}

TEST(RequestCounter, ListedMountsWithQuotesAreEscaped) {
    Counted counted({"/a\"b\\c"});
    counted.serve({"retrieve", "/a\"b\\c/d"});
    EXPECT_TRUE(counted.hasCount("/a\\\"b\\\\c", "retrieve", "2xx", 1));
}

TEST(RequestCounter, InvalidMountsAreRejected) {
    const MetricsRegistry registry;
    for (char const* const mount : {"", "lamp", "/\xff"}) {
        EXPECT_THROW(metrics(registry, {mount}), std::invalid_argument);
    }
}

TEST(RequestCounter, DurationOfAStreamEndsWithItsFirstValue) {
    Counted counted({"/lamp"});
    Request request("retrieve", "/lamp");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    counted.send(request);
    counted.service[1].onNext(Response(299));
    const Clock::time_point first = Clock::now();
    while (Clock::now() < first + std::chrono::milliseconds(50)) {
    }
    counted.service.answer(1, Response(299));
    const std::string text = counted.registry.text();
    const std::string sum = "_sum{mount=\"/lamp\",command=\"retrieve\"} ";
    const std::size_t at = text.find(sum);
    ASSERT_NE(at, std::string::npos);
    constexpr double ROUNDING = 0.001;
    EXPECT_LE(std::stod(text.substr(at + sum.size())),
              std::chrono::duration<double>(first - begin).count() + ROUNDING);
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "2xx", 1));
}

TEST(RequestCounter, SeveralChainsShareARegistry) {
    Counted counted({"/lamp"});
    test::HeldService service;
    Chain other(service);
    other.use(metrics(counted.registry, {"/fan"}));
    other.actionRequest({"retrieve", "/fan"}, testing::record().handler());
    service.answer(1);
    counted.serve({"retrieve", "/lamp"});
    EXPECT_TRUE(counted.hasCount("/lamp", "retrieve", "2xx", 1));
    EXPECT_TRUE(counted.hasCount("/fan", "retrieve", "2xx", 1));
    const std::string text = counted.registry.text();
    const std::string head = "# TYPE kova_requests_total";
    EXPECT_EQ(text.find(head), text.rfind(head));
}

}  // namespace
}  // namespace kova::kit
