#include "tests/support/Call.h"

#include <ostream>

namespace zebtest {

namespace {

struct Printer {
    std::ostream& out;

    void operator()(long long number) const { out << number; }
    void operator()(const void* pointer) const { out << pointer; }
    void operator()(const std::string& text) const { out << '"' << text << '"'; }
};

} // namespace

std::ostream& operator<<(std::ostream& out, const Argument& argument) {
    std::visit(Printer{out}, argument.mValue);
    return out;
}

std::ostream& operator<<(std::ostream& out, const Call& call) {
    out << call.name << '(';
    const char* separator = "";
    for (const Argument& argument : call.arguments) {
        out << separator << argument;
        separator = ", ";
    }
    return out << ')';
}

} // namespace zebtest
