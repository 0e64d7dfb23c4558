#include "support/Fuzz.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "zel/ErrorOutput.h"

namespace fuzz {

namespace {

std::atomic<std::size_t> reports{0};

}  // namespace

void require(bool holds, char const* invariant) {
    if (!holds) {
        std::fprintf(stderr, "== violated invariant: %s\n", invariant);
        std::abort();
    }
}

void requireEqual(std::string_view actual, std::string_view expected, char const* invariant) {
    if (actual != expected) {
        std::fprintf(stderr, "== actual:   '%.*s'\n== expected: '%.*s'\n",
                     static_cast<int>(actual.size()), actual.data(),
                     static_cast<int>(expected.size()), expected.data());
        require(false, invariant);
    }
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

std::size_t takeReports() {
    return reports.exchange(0);
}

}  // namespace fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    zel::ErrorOutput::setSink([](const zel::ErrorReport&) { ++fuzz::reports; });
    return 0;
}
