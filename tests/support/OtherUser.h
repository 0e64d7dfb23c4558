#pragma once

#include <unistd.h>

#include <exception>
#include <stdexcept>

/// Skips the test unless root runs it. For tests that need files and processes of several users.
#define KOVA_SKIP_UNLESS_ROOT()                                        \
    if (::geteuid() != 0) {                                            \
        GTEST_SKIP() << "only root can act as another user in a test"; \
    }                                                                  \
    static_assert(true)

namespace kova::test {

/// A guard that makes this process of root act as another user: the process has the rights of that
/// user only, and the files and sockets that it creates belong to that user.
class OtherUser {
public:
    static constexpr uid_t ALICE = 12345;
    static constexpr uid_t BOB = 12346;

    explicit OtherUser(uid_t user) {
        if (::seteuid(user) != 0) {
            throw std::runtime_error("cannot act as another user");
        }
    }
    ~OtherUser() {
        if (::seteuid(0) != 0) {
            std::terminate();
        }
    }
    OtherUser(const OtherUser&) = delete;
    OtherUser& operator=(const OtherUser&) = delete;
};

}  // namespace kova::test
