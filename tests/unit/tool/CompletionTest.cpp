#include "Completion.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

class CompletionTest : public ToolFixture {
protected:
    CompletionTest() {
        EXPECT_EQ(::mkdir((folder / "run").c_str(), 0700), 0);
        ::setenv("KOVA_RUNTIME_DIR", (folder / "run").c_str(), 1);
        ::setenv("KOVA_COMPLETION_DEADLINE", "1m", 1);
        registered = std::make_unique<http::Endpoint>(service, "kova:/player");
    }
    ~CompletionTest() override {
        ::unsetenv("KOVA_RUNTIME_DIR");
        ::unsetenv("KOVA_SERVICE");
        ::unsetenv("KOVA_COMPLETION_DEADLINE");
    }

    /// Returns the candidates for the last word.
    Strings candidates(const Strings& words) {
        Strings line = {"complete", "--"};
        line.insert(line.end(), words.begin(), words.end());
        EXPECT_EQ(run(line), DONE);
        EXPECT_EQ(err, "");
        Strings result;
        std::istringstream lines(out);
        for (std::string each; std::getline(lines, each);) {
            result.push_back(each);
        }
        return result;
    }

    std::unique_ptr<http::Endpoint> registered;
};

TEST_F(CompletionTest, FirstArgumentIsCompletedToACommand) {
    EXPECT_THAT(candidates({"de"}), ElementsAre("decode", "delete", "describe"));
    EXPECT_THAT(candidates({"--color", "always", "enc"}), ElementsAre("encode"));
    EXPECT_THAT(candidates({""}), Contains("watch"));
    EXPECT_THAT(candidates({}), Contains("watch"));
    EXPECT_THAT(candidates({"unknown", ""}), Contains("watch"));
}

TEST_F(CompletionTest, OptionsOfTheCommandAndOfTheProgramAreCandidates) {
    EXPECT_THAT(candidates({"get", "--r"}), ElementsAre("--raw"));
    EXPECT_THAT(candidates({"get", "--co"}), ElementsAre("--color"));
    EXPECT_THAT(candidates({"--he"}), ElementsAre("--help"));
    EXPECT_THAT(candidates({"get", "--", "--r"}), IsEmpty());
}

TEST_F(CompletionTest, ValuesOfOptionsAreCompleted) {
    EXPECT_THAT(candidates({"get", "--to", ""}), ElementsAre("kova:/player"));
    EXPECT_THAT(candidates({"get", "--color", "a"}), ElementsAre("always", "auto"));
    EXPECT_THAT(candidates({"get", "--to=ko"}), ElementsAre("--to=kova:/player"));
    EXPECT_THAT(candidates({"get", "--color=n"}), ElementsAre("--color=never"));
    EXPECT_THAT(candidates({"get", "--deadline", ""}), IsEmpty());
    EXPECT_THAT(candidates({"get", "--unknown="}), IsEmpty());
}

TEST_F(CompletionTest, ServicesAreCandidatesWhereACommandNeedsAService) {
    EXPECT_THAT(candidates({"tree", "ko"}), ElementsAre("kova:/player"));
    EXPECT_THAT(candidates({"ls", "ko"}), IsEmpty());
    EXPECT_THAT(candidates({"tree", "kova:/player", ""}), IsEmpty());
    EXPECT_THAT(candidates({"get", "kova:/pl"}), ElementsAre("kova:/player$"));
}

TEST_F(CompletionTest, PathsOfAServiceAreCandidatesAfterTheDollarSign) {
    EXPECT_THAT(candidates({"describe", "kova:/player$/"}),
                ElementsAre("kova:/player$/", "kova:/player$/greeting/", "kova:/player$/level",
                            "kova:/player$/tracks", "kova:/player$/tracks/"));
    EXPECT_THAT(candidates({"get", address + "$/le"}), ElementsAre(address + "$/level"));
}

TEST_F(CompletionTest, OnlyPathsThatSupportTheCommandAreCandidates) {
    EXPECT_THAT(candidates({"put", "kova:/player$/"}), ElementsAre("kova:/player$/level"));
    EXPECT_THAT(candidates({"delete", "kova:/player$/"}), ElementsAre("kova:/player$/tracks/"));
    EXPECT_THAT(candidates({"watch", "kova:/player$/level", "kova:/player$/"}),
                ElementsAre("kova:/player$/level"));
    EXPECT_THAT(candidates({"put", "kova:/player$/level", ""}), IsEmpty());
}

TEST_F(CompletionTest, PathsComeFromTheServiceOfTheOptionOrTheEnvironment) {
    EXPECT_THAT(candidates({"put", "--to", address, "/"}), ElementsAre("/level"));
    EXPECT_THAT(candidates({"put", "--to=" + address, ""}), ElementsAre("/level", "kova:/player$"));
    EXPECT_THAT(candidates({"put", "/"}), IsEmpty());
    ::setenv("KOVA_SERVICE", address.c_str(), 1);
    EXPECT_THAT(candidates({"put", "/"}), ElementsAre("/level"));
}

TEST_F(CompletionTest, MissingServiceProducesNoCandidates) {
    EXPECT_THAT(candidates({"get", "unix:" + folder / "none" + "$/"}), IsEmpty());
    EXPECT_THAT(candidates({"get", "kova:/nobody$/"}), IsEmpty());
    EXPECT_THAT(candidates({"get", "ftp://host/"}), IsEmpty());
    EXPECT_THAT(candidates({"get", "http://"}), IsEmpty());
}

/// A service that answers each request with a payload, or never.
class CompletionOfOddServiceTest : public CompletionTest {
protected:
    http::Endpoint odd{held, "unix:" + folder / "odd"};
    const std::string text = "unix:" + folder / "odd" + "$/";
};

TEST_F(CompletionOfOddServiceTest, SilentServiceProducesNoCandidates) {
    for (char const* deadline : {"20ms", "some"}) {
        ::setenv("KOVA_COMPLETION_DEADLINE", deadline, 1);
        EXPECT_THAT(candidates({"get", text}), IsEmpty());
    }
}

TEST_F(CompletionOfOddServiceTest, MalformedAnswerProducesNoCandidates) {
    for (char const* answer : {"7", "{\"a\": 1}", "[{\"path\": 7}]", "[", "[[[[[[[[[["}) {
        held.onRequest = [this, answer](std::size_t number) {
            held.answer(number, Response(200, Payload::createFromJSON(answer)));
        };
        EXPECT_THAT(candidates({"get", text}), IsEmpty()) << answer;
    }
}

TEST_F(CompletionOfOddServiceTest, TooLongAnswerProducesNoCandidates) {
    const std::string mounts = "[{\"path\": \"/fine\", \"operations\": []}" +
                               std::string(std::size_t{5} * 1024 * 1024, ' ') + "]";
    held.onRequest = [this, &mounts](std::size_t number) {
        held.answer(number, Response(200, Payload::createFromJSON(mounts)));
    };
    EXPECT_THAT(candidates({"get", text}), IsEmpty());
}

TEST_F(CompletionOfOddServiceTest, TextsThatAShellExecutesAreNotCandidates) {
    for (char const* path : {"/$(reboot)", "/a;b", "/`b`", "/a b", "/a\\nb", "/\\u001b[2J", "/'"}) {
        held.onRequest = [this, path](std::size_t number) {
            const std::string mounts = "[{\"path\": \"/fine\", \"operations\": []}, {\"path\": \"" +
                                       std::string(path) + "\", \"operations\": []}]";
            held.answer(number, Response(200, Payload::createFromJSON(mounts)));
        };
        EXPECT_THAT(candidates({"get", text}), ElementsAre(text + "fine")) << path;
    }
}

}  // namespace
}  // namespace kova::tool
