#include "MetricsPage.h"

#include <gtest/gtest.h>

#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using test::MetricsPage;

TEST(MetricsPage, FaultOfReturnsTheFaultOfAMalformedPage) {
    const std::string head = "# HELP a A.\n# TYPE a counter\n";
    const std::string histogram = "# HELP a A.\n# TYPE a histogram\n";
    for (const std::string& page :
         {std::string(), head + "a 1\n", head + "a{x=\"1\",y=\"\\n\\\"\\\\\"} 1.5e+20\n",
          histogram + "a_bucket{x=\"\",le=\"1\"} 1\na_bucket{x=\"\",le=\"+Inf\"} 2\n"
                      "a_sum{x=\"\"} 1\na_count{x=\"\"} 2\n"}) {
        EXPECT_EQ(MetricsPage::faultOf(page), "");
    }
    for (const std::string& page :
         {std::string("a 1\n"), head + "a 1", head + "b 1\n", head + "a 1\na 2\n", head + "a x\n",
          head + "a{x=\"a\"b\"} 1\n", head + "a{x=\"\\q\"} 1\n", head + "a{x=\"1\",} 1\n",
          head + head, std::string("# HELP b B.\n# TYPE a counter\na 1\n"),
          std::string("# HELP a \\q\n"),
          histogram + "a_bucket{x=\"\",le=\"1\"} 1\na_sum{x=\"\"} 1\na_count{x=\"\"} 1\n",
          histogram + "a_bucket{x=\"\",le=\"1\"} 3\na_bucket{x=\"\",le=\"+Inf\"} 2\n",
          histogram + "a_bucket{x=\"\",le=\"+Inf\"} 2\na_count{x=\"\"} 3\n"}) {
        EXPECT_NE(MetricsPage::faultOf(page), "") << page;
    }
}

TEST(MetricsPage, PageOfARegistryIsWellFormed) {
    const MetricsRegistry registry;
    test::HeldService service;
    Chain chain(service);
    chain.use(metrics(registry, {"/lamp", "/a\"b\\c\nd", "/caf\xc3\xa9", "/{x=\"1\"} 2"}));
    chain.use(metrics(registry));
    std::size_t sent = 0;
    for (char const* const path :
         {"/lamp/3", "/a\"b\\c\nd/e", "/caf\xc3\xa9", "/{x=\"1\"} 2", "/new/x", "/\xff", "", "/"}) {
        for (char const* const command : {"retrieve", "insert", "\n"}) {
            chain.actionRequest({command, path}, testing::record().handler());
            service.answer(++sent);
        }
    }
    registry.counter("scans_total", "a \\ b\nc", {{"medium", "a\"b\\c\nd"}, {"x", ""}}).add(7);
    registry.gauge("level", "").set(1e300);
    EXPECT_EQ(MetricsPage::faultOf(registry.text()), "");
    EXPECT_NE(registry.text().find("mount=\"/a\\\"b\\\\c\\nd\""), std::string::npos);
}

}  // namespace
}  // namespace kova::kit
