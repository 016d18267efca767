#pragma once

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace zebtest {

/** One argument of a recorded call: a number, a pointer compared by its value, or a text. */
class Argument {
public:
    template <class Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
    Argument(Number number) : Argument(Numeric{static_cast<long long>(number)}) {}
    Argument(const void* pointer);
    Argument(std::nullptr_t);
    Argument(std::string text);
    /** A text that may be null, in which case it equals a null pointer. */
    Argument(const char* text);
    // Out of line: with the address sanitizer g++ 12 takes the inlined text for uninitialised.
    Argument(const Argument& other);
    Argument(Argument&& other) noexcept;
    Argument& operator=(const Argument& other);
    Argument& operator=(Argument&& other) noexcept;
    ~Argument();

    /** Which of them it is, the test must know. */
    long long number() const { return std::get<long long>(mValue); }
    const std::string& text() const { return std::get<std::string>(mValue); }

    bool operator==(const Argument& other) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Argument& argument);

private:
    struct Numeric {
        long long number;
    };
    explicit Argument(Numeric numeric);

    std::variant<long long, const void*, std::string> mValue;
};

/** A recorded call: the operation's name and its arguments, without the context. */
struct Call {
    std::string name;
    std::vector<Argument> arguments;

    bool operator==(const Call& other) const = default;
};

std::ostream& operator<<(std::ostream& out, const Call& call);

} // namespace zebtest
