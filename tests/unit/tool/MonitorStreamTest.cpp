#include "MonitorStream.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>

#include "kova/core/MimeTypes.h"
#include "tool/MonitorFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

TEST(LossCounterTest, GapsInTheNumbersAreCountedAsLosses) {
    LossCounter losses;
    EXPECT_EQ(losses.position(), 0U);
    EXPECT_EQ(losses.add(100, 0), 0U);
    EXPECT_EQ(losses.add(100, 5), 0U);
    EXPECT_EQ(losses.add(108, 1), 3U);
    EXPECT_EQ(losses.position(), 109U);
    EXPECT_EQ(losses.add(1, 1), 0U);  // the service has restarted its numbering
}

using MonitorStreamTest = MonitorFixture;

TEST_F(MonitorStreamTest, ServiceWithoutInspectionIsReported) {
    const auto plain = kit::ServiceBuilder().mount("/level", service.level).build();
    const http::Endpoint other(*plain, "unix:" + folder / "other");
    EXPECT_EQ(run({"monitor", "unix:" + folder / "other"}), REFUSED);
    EXPECT_THAT(err, HasSubstr("the service is built without ServiceBuilder::inspect"));
}

TEST_F(MonitorStreamTest, PeerThatIsNotAllowedIsReported) {
    kit::InspectionOptions options;
    options.isAllowed = [](const kit::Peer&) { return false; };
    const auto closed =
        kit::ServiceBuilder().mount("/level", service.level).inspect(options).build();
    const http::Endpoint other(*closed, "unix:" + folder / "other");
    EXPECT_EQ(run({"monitor", "unix:" + folder / "other"}), REFUSED);
    EXPECT_THAT(err, HasSubstr("the monitor is for the user of the service and for root"));
}

TEST_F(MonitorStreamTest, GarbageIsReported) {
    test::HeldService garbage;
    const http::Endpoint other(garbage, "unix:" + folder / "other");
    garbage.onRequest = [&garbage](std::size_t number) {
        garbage[number].onNext(
            Response(299, Payload::createFromRaw(reinterpret_cast<unsigned char const*>("\xFF"), 1,
                                                 mimetypes::AXOBIN_TYPE)));
    };
    for (char const* word : {"monitor", "record"}) {
        std::vector<std::string> words = {word, "--to", "unix:" + folder / "other"};
        if (words[0] == "record") {
            words.push_back(folder / "file");
        }
        EXPECT_NE(run(words), DONE);
        EXPECT_THAT(err, HasSubstr("kova: "));
    }
}

TEST_F(MonitorStreamTest, MissingServiceGivesExitStatusThree) {
    EXPECT_EQ(run({"monitor", "unix:" + folder / "none"}), NO_SERVICE);
    EXPECT_EQ(run({"monitor"}), MISUSED);
    EXPECT_EQ(run({"monitor", "nonsense:"}), MISUSED);
}

TEST_F(MonitorStreamTest, RequestsBeforeTheInterruptAreRead) {
    EXPECT_EQ(runWhile({"monitor", "--path", "/tracks"},
                       [this] {
                           for (int i = 0; i < 10; ++i) {
                               ask("insert", "/tracks", "\"a\"");
                           }
                           interrupt();
                       }),
              INTERRUPTED);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 10);
}

}  // namespace
}  // namespace kova::tool
