#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

namespace kova::test {

/// Runs `work` on a thread with a stack of 128 KiB and waits for it to end. A function that
/// recurses once per level of a deep tree overflows this stack.
inline void runOnSmallStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 128 * 1024), 0);
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, run,
                             const_cast<void*>(static_cast<void const*>(&work))),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

}  // namespace kova::test
