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

Argument::Argument(Numeric numeric) : mValue(numeric.number) {}
Argument::Argument(const void* pointer) : mValue(pointer) {}
Argument::Argument(std::nullptr_t) : mValue(static_cast<const void*>(nullptr)) {}
Argument::Argument(std::string text) : mValue(std::move(text)) {}

Argument::Argument(const char* text) : Argument(nullptr) {
    if (text)
        mValue = std::string(text);
}

Argument::Argument(const Argument& other) = default;
Argument::Argument(Argument&& other) noexcept = default;
Argument& Argument::operator=(const Argument& other) = default;
Argument& Argument::operator=(Argument&& other) noexcept = default;
Argument::~Argument() = default;

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
