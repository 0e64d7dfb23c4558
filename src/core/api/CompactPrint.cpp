#include "api/CompactPrint.h"

#include <mutex>
#include <new>
#include <sstream>

namespace kova::detail {

namespace {

class CompactFlag {
public:
    CompactFlag() : former_(util::config::Value::g_print_compact) {
        util::config::Value::g_print_compact = true;
    }
    ~CompactFlag() { util::config::Value::g_print_compact = former_; }
    CompactFlag(const CompactFlag&) = delete;
    CompactFlag& operator=(const CompactFlag&) = delete;

private:
    bool former_;
};

std::mutex mutex;

}  // namespace

std::string printCompact(const util::config::Value& value) {
    std::ostringstream out;
    const std::lock_guard<std::mutex> guard(mutex);
    const CompactFlag flag;
    value.print(out);
    if (out.bad()) {
        throw std::bad_alloc();
    }
    return out.str();
}

}  // namespace kova::detail
