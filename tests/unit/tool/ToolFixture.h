#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Context.h"
#include "ExitStatus.h"
#include "Program.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/kit/Stream.h"
#include "support/HeldService.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::tool {

/// A service with a level, a greeting, tracks and an inspection. Paths below "/held" go to `held`.
class PlayerService : public IKovaApi {
public:
    PlayerService() {
        level.onWrite([](const int& wanted) -> kit::Result<void> {
            return wanted <= 100 ? kit::Result<void>()
                                 : kit::Error{400, "the level is at most 100"};
        });
        greeting_.on(kit::command::retrieve, "{name}",
                     [](const kit::Ask&, const std::string& name) { return "Hello, " + name; });
        tracks_.on(kit::command::insert, "", [](const kit::Ask&, const std::string& name) {
            return kit::created("/tracks/" + name);
        });
        tracks_.on(kit::command::remove, "{id:uint}",
                   [](const kit::Ask&, unsigned) { return kit::done(); });
        kit::ServiceBuilder builder;
        builder.name("player").version("1.2.0");
        builder.mount("/level", level).mount("/greeting", greeting_).mount("/tracks", tracks_);
        kit::InspectionOptions options;
        options.metrics = [] { return std::string("# TYPE tracks gauge\ntracks 1\n"); };
        service_ = builder.inspect(options).build();
    }
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        return isHeld(request) ? held.actionRequest(request, std::move(handler))
                               : service_->actionRequest(request, std::move(handler));
    }
    // A handle of `held` is a number below 1000. Handles of the service are greater.
    void cancelRequest(void* handle) override {
        if (reinterpret_cast<std::uintptr_t>(handle) < 1000) {
            held.cancelRequest(handle);
        } else {
            service_->cancelRequest(handle);
        }
    }

    /// Returns the pending requests of the service without those below "/held".
    std::vector<kit::CallInfo> pending() const { return service_->pending(); }

    kit::Observable<int> level{30};
    test::HeldService held;

private:
    static bool isHeld(const Request& request) {
        return request.getPath().compare(0, 5, "/held") == 0;
    }

    kit::Resource greeting_;
    kit::Resource tracks_;
    std::unique_ptr<kit::Service> service_;
};

/// Runs the program in this process, with a service at a Unix socket.
class ToolFixture : public testing::Test {
protected:
    ToolFixture() {
        EXPECT_EQ(::pipe2(interrupt_.data(), O_CLOEXEC), 0);
        EXPECT_EQ(::pipe2(input_.data(), O_CLOEXEC), 0);
        ::unsetenv("KOVA_SERVICE");
        ::unsetenv("NO_COLOR");
    }
    ~ToolFixture() override {
        for (const int descriptor : {interrupt_[0], interrupt_[1], input_[0], input_[1]}) {
            ::close(descriptor);
        }
    }

    /// Runs the program with these arguments. Returns the exit status; `out` and `err` have the
    /// output.
    int run(std::vector<std::string> words) {
        std::ostringstream outStream;
        std::ostringstream errStream;
        Context context{{outStream, outIsTerminal, false, size},
                        {errStream, errIsTerminal, false, size},
                        input_[0],
                        interrupt_[0]};
        const int status = runProgram(std::move(words), context);
        out = outStream.str();
        err = errStream.str();
        return status;
    }
    /// Runs the program with these arguments, "--to" and the address of the service.
    int runAt(std::vector<std::string> words) {
        words.insert(words.end(), {"--to", address});
        return run(std::move(words));
    }
    /// Acts as if the user pressed Ctrl-C.
    void interrupt() const { EXPECT_EQ(::write(interrupt_[1], "", 1), 1); }
    /// Writes all of standard input.
    void writeInput(const std::string& text) {
        EXPECT_EQ(::write(input_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ::close(std::exchange(input_[1], ::dup(interrupt_[1])));
    }

    /// Returns the descriptor of standard input.
    int inputDescriptor() const noexcept { return input_[0]; }
    /// Writes the text to a file, which becomes standard input.
    void setInput(const std::string& text) {
        test::writeFile(folder / "input", text);
        const int file = ::open((folder / "input").c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(::dup2(file, input_[0]), input_[0]);
        ::close(file);
    }

    test::Watchdog watchdog{"a word runs"};
    test::TemporaryFolder folder;
    const std::string address = "unix:" + folder / "s";
    PlayerService service;
    test::HeldService& held = service.held;
    http::Endpoint endpoint{service, address};
    bool outIsTerminal = false;
    bool errIsTerminal = false;
    std::function<Screen::Size()> size = [] { return Screen::Size{}; };
    std::string out;
    std::string err;

private:
    std::array<int, 2> interrupt_{};
    std::array<int, 2> input_{};
};

}  // namespace kova::tool
