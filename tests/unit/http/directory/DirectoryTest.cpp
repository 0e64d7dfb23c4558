#include "kova/http/Directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "directory/ServiceName.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/Watchdog.h"
#include "unit/http/directory/Fixture.h"

namespace kova::http {
namespace {

using test::OtherUser;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

/// Sets an environment variable, or removes it, while the object exists.
class Variable {
public:
    Variable(char const* name, char const* value) : name_(name) {
        if (char const* const former = std::getenv(name)) {
            former_ = former;
        }
        set(value);
    }
    ~Variable() { set(former_ ? former_->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    void set(char const* value) const {
        value == nullptr ? ::unsetenv(name_) : ::setenv(name_, value, 1);
    }
    char const* const name_;
    std::optional<std::string> former_;
};

/// A service with a number at "/level".
struct Numbered {
    explicit Numbered(int level) {
        resource.on(kit::command::retrieve, "", [level](const kit::Ask&) { return level; });
        service = kit::ServiceBuilder().mount("/level", resource).build();
    }
    kit::Resource resource;
    std::unique_ptr<kit::Service> service;
};

class DirectoryTest : public test::SocketDirectoryTest {
protected:
    EndpointOptions inDirectory(const std::string& directory) const {
        EndpointOptions options;
        options.directory = directory;
        return options;
    }
    kit::Result<Opened> open(const std::string& locator) const {
        OpenOptions options;
        options.directories = directories;
        return http::open(locator, options);
    }
    std::string errorOfOpen(const std::string& locator) const {
        const auto opened = open(locator);
        return opened ? "opened" : opened.error().toString();
    }
    static int read(const Opened& opened) {
        return kit::Client(*opened.service).retrieve<int>(opened.path).get().orThrow();
    }
    static Texts textsOf(const std::vector<Registered>& services) {
        Texts texts;
        for (const Registered& service : services) {
            texts.push_back(service.servicePath + " " + service.address);
        }
        return texts;
    }

    Texts directories{path};
};

TEST_F(DirectoryTest, LocatorLeadsToTheServiceAndItsResource) {
    const Numbered numbered(30);
    const Endpoint endpoint(*numbered.service, "kova:/device", inDirectory(path));
    const Opened opened = open("kova:/device$/level").orThrow();
    EXPECT_EQ(opened.servicePath, "/device");
    EXPECT_EQ(opened.path, "/level");
    EXPECT_EQ(opened.address, "unix:" + (*this / "device"));
    EXPECT_EQ(opened.address, endpoint.address());
    EXPECT_EQ(read(opened), 30);
}

TEST_F(DirectoryTest, EachServiceOfAnEndpointIsFound) {
    const Numbered first(1);
    const Numbered second(2);
    Endpoint endpoint({{"/one", first.service.get()}, {"/number/two", second.service.get()}},
                      "kova:", inDirectory(path));
    EXPECT_EQ(read(open("kova:/one$/level").orThrow()), 1);
    EXPECT_EQ(read(open("kova:/number/two$/level").orThrow()), 2);
    EXPECT_EQ(read(open("kova:/number/two/$level").orThrow()), 2) << "paths are normalized";
    EXPECT_THAT(
        textsOf(registeredServices(directories)),
        ElementsAre("/number/two unix:" + (*this / "number+two"), "/one unix:" + (*this / "one")));
    endpoint.stop(std::chrono::seconds(1));
    EXPECT_THAT(registeredServices(directories), IsEmpty());
}

TEST_F(DirectoryTest, FirstDirectoryWithTheServiceIsUsed) {
    const Numbered first(1);
    const Numbered second(2);
    directories.push_back(folder / "system");
    const Endpoint one(*first.service, "kova:/a", inDirectory(directories[0]));
    const Endpoint two(*second.service, "kova:/a", inDirectory(directories[1]));
    const Endpoint other(*second.service, "kova:/b", inDirectory(directories[1]));
    EXPECT_EQ(read(open("kova:/a$/level").orThrow()), 1);
    EXPECT_EQ(read(open("kova:/b$/level").orThrow()), 2);
    EXPECT_THAT(textsOf(registeredServices(directories)),
                ElementsAre("/a unix:" + (*this / "a"), "/b unix:" + directories[1] + "/b"));
}

TEST_F(DirectoryTest, ServiceIsFoundInALaterDirectoryIfItsFirstSocketIsDead) {
    const Numbered numbered(2);
    make();
    bindSocket(*this / "a");
    directories.push_back(folder / "system");
    const Endpoint endpoint(*numbered.service, "kova:/a", inDirectory(directories[1]));
    EXPECT_EQ(read(open("kova:/a$/level").orThrow()), 2);
}

class MalformedLocator : public DirectoryTest, public ::testing::WithParamInterface<char const*> {};

TEST_P(MalformedLocator, IsRefused) {
    const std::string error = errorOfOpen(GetParam());
    EXPECT_EQ(error.find("400 Bad Request: locator '" + std::string(GetParam()) + "': "), 0U)
        << error;
}

INSTANTIATE_TEST_SUITE_P(DirectoryTest, MalformedLocator,
                         ::testing::Values("", "/device$/level", "kova:", "kova:/level",
                                           "kova:$/level", "kova:/$/level", "http:/device$/level",
                                           "kova://host/device$/level", "kova:/device$/level?x=1",
                                           "kova:/device$/level#top"));

TEST_F(DirectoryTest, EveryPathThatCanBeRegisteredHasALocator) {
    make();
    for (int byte = 1; byte < 256; ++byte) {
        const std::string service = std::string("/a") + static_cast<char>(byte) + "b";
        if (detail::isServicePath(service)) {
            const auto opened = open("kova:" + service + "$/");
            EXPECT_EQ(opened.error().code, 404) << byte << ": " << opened.error().message;
        }
    }
}

TEST_F(DirectoryTest, ErrorNamesTheDirectoriesAndTheServicesThatThereAre) {
    directories.push_back(folder / "none");
    EXPECT_EQ(
        errorOfOpen("kova:/device$/level"),
        "404 Not Found: no service '/device' is registered in " + path + " and " + directories[1]);
    make();
    for (char const name : {'b', 'a'}) {
        bindSocket(*this / std::string(1, name));
    }
    EXPECT_EQ(errorOfOpen("kova:/device$/level"),
              "404 Not Found: no service '/device' is registered in " + path + " and " +
                  directories[1] + "; there is /a, /b");
    for (const char name : std::string("cdefgh")) {
        bindSocket(*this / std::string(1, name));
    }
    EXPECT_THAT(errorOfOpen("kova:/device$/level"), ::testing::EndsWith("/f, /g, /h"));
    bindSocket(*this / "i");
    EXPECT_THAT(errorOfOpen("kova:/device$/level"), ::testing::EndsWith("/g, /h, ..."));
}

TEST_F(DirectoryTest, OpenWaitsForAServiceThatStartsLater) {
    const kova::test::Watchdog watchdog{"a service is opened"};
    make();
    bindSocket(*this / "device");
    OpenOptions options;
    options.directories = directories;
    options.patience = std::chrono::milliseconds::max();
    std::promise<kit::Result<Opened>> promise;
    std::thread client([&] { promise.set_value(http::open("kova:/device$/level", options)); });
    const Numbered numbered(30);
    const Endpoint endpoint(*numbered.service, "kova:/device", inDirectory(path));
    EXPECT_EQ(read(*promise.get_future().get()), 30);
    client.join();
}

TEST_F(DirectoryTest, OpenDoesNotWaitInADirectoryThatIsNotTrusted) {
    const kova::test::Watchdog watchdog{"a service is refused"};
    make(0777);
    OpenOptions options;
    options.directories = directories;
    options.patience = std::chrono::hours(1);
    EXPECT_EQ(http::open("kova:/device$/level", options).error().code, 403);
}

TEST_F(DirectoryTest, OpenWaitsForALimitedTime) {
    OpenOptions options;
    options.directories = directories;
    options.patience = std::chrono::milliseconds(30);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(http::open("kova:/device$/level", options).error().code, 404);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, options.patience);
}

TEST_F(DirectoryTest, ServiceThatNobodyServesIsUnavailable) {
    make();
    bindSocket(*this / "device");
    EXPECT_EQ(errorOfOpen("kova:/device$/level"),
              "503 Service Unavailable: no process serves '" + (*this / "device") + "'");
}

TEST_F(DirectoryTest, DirectoryThatIsNotTrustedIsSkippedAndNamed) {
    const Numbered numbered(2);
    const Endpoint endpoint(*numbered.service, "kova:/a", inDirectory(path));
    setMode(path, 0777);
    EXPECT_EQ(errorOfOpen("kova:/a$/level"),
              "403 Forbidden: '" + path + "' is not trusted: other users may write in it");
    EXPECT_THAT(registeredServices(directories), IsEmpty());
    directories.push_back(folder / "system");
    const Endpoint other(*numbered.service, "kova:/a", inDirectory(directories[1]));
    EXPECT_EQ(read(open("kova:/a$/level").orThrow()), 2);
}

TEST_F(DirectoryTest, ServerThatIsReplacedByOneOfAnotherUserIsNotTrusted) {
    KOVA_SKIP_UNLESS_ROOT();
    const Numbered numbered(1);
    auto endpoint = std::make_unique<Endpoint>(*numbered.service, "kova:/a", inDirectory(path));
    OpenOptions options;
    options.directories = directories;
    options.connection.patience = std::chrono::milliseconds(1);
    const Opened opened = http::open("kova:/a$/level", options).orThrow();
    endpoint.reset();
    const wire::FileDescriptor socket = bindSocket(*this / "a");
    {
        const OtherUser alice(OtherUser::ALICE);
        ASSERT_EQ(::listen(socket.get(), 8), 0);
    }
    const auto answer = kit::Client(*opened.service).retrieve<int>(opened.path).get();
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().message,
              "lost: no connection to " + opened.address + ": Operation not permitted");
}

struct VariablesRow {
    char const* chosen;
    char const* ofUser;
    Texts forRoot;
    Texts forOthers;
};

class Variables : public DirectoryTest, public ::testing::WithParamInterface<VariablesRow> {};

TEST_P(Variables, NameTheDirectories) {
    KOVA_SKIP_UNLESS_ROOT();
    const VariablesRow& row = GetParam();
    const Variable chosen("KOVA_RUNTIME_DIR", row.chosen);
    const Variable ofUser("XDG_RUNTIME_DIR", row.ofUser);
    EXPECT_EQ(socketDirectories(), row.forRoot);
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_EQ(socketDirectories(), row.forOthers);
}

INSTANTIATE_TEST_SUITE_P(
    DirectoryTest, Variables,
    ::testing::Values(VariablesRow{nullptr, nullptr, {"/run/kova"}, {"/run/kova"}},
                      VariablesRow{
                          nullptr, "/run/user/7", {"/run/kova"}, {"/run/user/7/kova", "/run/kova"}},
                      VariablesRow{"", "relative", {"/run/kova"}, {"/run/kova"}},
                      VariablesRow{"/tmp/k", "/run/user/7", {"/tmp/k"}, {"/tmp/k"}}));

TEST_F(DirectoryTest, EndpointAndOpenUseTheDirectoryOfTheVariable) {
    const Variable chosen("KOVA_RUNTIME_DIR", path.c_str());
    const Numbered numbered(5);
    const Endpoint endpoint(*numbered.service, "kova:/device");
    EXPECT_EQ(endpoint.address(), "unix:" + (*this / "device"));
    EXPECT_EQ(read(http::open("kova:/device$/level").orThrow()), 5);
    EXPECT_EQ(registeredServices().size(), 1U);
}

}  // namespace
}  // namespace kova::http
