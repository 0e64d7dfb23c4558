// Each row of docs/http.md prints what the document says.
#include <gtest/gtest.h>
#include <sys/un.h>

#include <cstring>
#include <filesystem>
#include <regex>
#include <string>

#include "foreign/Fields.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/Documents.h"
#include "unit/http/foreign/ForeignFixture.h"

namespace kova::http::detail {
namespace {

// The service that the document describes.
class Player {
public:
    Player() {
        level.onWrite([](const int&) -> kit::Result<void> { return {}; });
        greeting.on(kit::command::retrieve, "token", [](const kit::Ask& ask) {
            return "Hello, " + ask.header<std::string>("$auth-token").value_or("") + "!";
        });
        greeting.on(kit::command::retrieve, "zone", [](const kit::Ask& ask) {
            return "Hello, " + std::to_string(ask.header<int>("zone").value_or(0)) + "!";
        });
        greeting.on(kit::command::retrieve, "{name}", [](const kit::Ask&, const std::string& name) {
            return "Hello, " + name + "!";
        });
        tracks.on(kit::command::insert, "", [](const kit::Ask&, const std::string&) {
            return kit::created(std::string("/tracks/1"));
        });
        tracks.on(kit::command::remove, "{id:uint}", [](const kit::Ask&, unsigned) {});
        service = kit::ServiceBuilder()
                      .mount("/level", level)
                      .mount("/greeting", greeting)
                      .mount("/tracks", tracks)
                      .build();
    }

    kit::Observable<int> level{30};
    kit::Resource greeting;
    kit::Resource tracks;
    std::unique_ptr<kit::Service> service;
};

class HttpDocumentTest : public ::testing::Test {
protected:
    HttpDocumentTest() {
        std::string name = ::testing::TempDir() + "http-XXXXXX";
        folder = ::mkdtemp(name.data());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = folder + "/player.sock";
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
        EXPECT_EQ(::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)),
                  0);
        EXPECT_EQ(::listen(listener.get(), 16), 0);
        fixture.accept(listener.get(), ForeignFixture::unixPeer());
    }
    ~HttpDocumentTest() override {
        fixture.onLoop([&] { fixture.loop->remove(listener.get()); });
        std::filesystem::remove_all(folder);
    }
    static ForeignTerms terms(kit::Calls& calls) {
        ForeignTerms terms;
        terms.services["/player"] = &calls;
        return terms;
    }
    // Returns the output of a shell command in the folder of the socket. Line ends are spaces.
    std::string outputOf(const std::string& command) const {
        const std::string output = test::outputOf("cd " + folder + " && { " + command + "; }");
        return trimmedText(std::regex_replace(output, std::regex("\\n+"), " "));
    }
    static std::string trimmedText(const std::string& text) { return std::string(trimmed(text)); }

    Player player;
    kit::Calls calls{*player.service};
    ForeignFixture fixture{terms(calls)};
    wire::FileDescriptor listener{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::string folder;
};

std::string withoutQuotes(const std::string& cell) {
    return cell.substr(1, cell.size() - 2);
}

TEST_F(HttpDocumentTest, CommandsPrintWhatTheDocumentSays) {
    std::size_t rows = 0;
    for (const auto& row : test::rowsOf(test::read("docs/http.md"), "## Requests")) {
        ASSERT_EQ(row.size(), 3U) << row[0];
        std::string output = outputOf(withoutQuotes(row[1]));
        // On a busy machine, a command with a time limit may print nothing: it runs again.
        while (output.empty()) {
            output = outputOf(withoutQuotes(row[1]));
        }
        EXPECT_EQ(output, withoutQuotes(row[2])) << row[1];
        ++rows;
    }
    EXPECT_EQ(rows, 14U);
}

TEST_F(HttpDocumentTest, ClientOfPythonKeepsItsConnection) {
    const std::string script =
        "import http.client, socket\n"
        "c = http.client.HTTPConnection(\"localhost\")\n"
        "c.sock = socket.socket(socket.AF_UNIX)\n"
        "c.sock.connect(\"player.sock\")\n"
        "own = c.sock\n"
        "for path in (\"/level\", \"/greeting/you\", \"/volume\"):\n"
        "    c.request(\"GET\", path)\n"
        "    r = c.getresponse()\n"
        "    print(r.status, r.read().decode()[:20], c.sock is own)\n";
    EXPECT_EQ(outputOf("/usr/bin/python3 -c '" + script + "'"),
              "200 30 True 200 \"Hello, you!\" True 404 {\"title\":\"Not Found\" True");
}

}  // namespace
}  // namespace kova::http::detail
