#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/Http2Client.h"
#include "support/RecordTexts.h"

namespace kova::http::test {

using kova::test::eventsOf;
using kova::test::Http2Client;
using kova::test::recordOf;
using kova::test::SocketClient;

/// A directory for the sockets of a test, which the destructor removes.
class SocketDirectory {
public:
    SocketDirectory() { path_ = ::mkdtemp(name_); }
    ~SocketDirectory() {
        ::unlink(path("s").c_str());
        ::rmdir(path_.c_str());
    }
    SocketDirectory(const SocketDirectory&) = delete;
    SocketDirectory& operator=(const SocketDirectory&) = delete;
    std::string path(const std::string& file) const { return path_ + "/" + file; }
    std::string address() const { return "unix:" + path("s"); }

private:
    char name_[32] = "/tmp/kova-http-XXXXXX";
    std::string path_;
};

}  // namespace kova::http::test
