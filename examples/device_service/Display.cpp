#include "Display.h"

#include <ostream>

namespace device {

void Display::say(const std::string& text) {
    if (!quiet_) {
        out_ << text << std::endl;
    }
}

void Display::show(const std::string& line, const std::string& payload) {
    if (!quiet_) {
        out_ << line << std::endl;
    } else if (!payload.empty()) {
        out_ << payload << std::endl;
    }
}

void Display::complain(const std::string& text) {
    errors_ << text << std::endl;
}

void Display::complain(const std::string& line, const std::string& reason) {
    complain(quiet_ ? reason : line);
}

}  // namespace device
