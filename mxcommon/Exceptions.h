#pragma once

#include <exception>
#include <string>

namespace mxcommon {

/** A mutex operation failed, or a guarded value was used under the wrong mutex. */
class MutexException : public std::exception {
public:
    explicit MutexException(const std::string& message) : mText("MutexException: " + message) {}

    const char* what() const noexcept override { return mText.c_str(); }

private:
    std::string mText;
};

/** A thread could not be started, joined or registered. */
class ThreadException : public std::exception {
public:
    explicit ThreadException(const std::string& message) : mText("ThreadException: " + message) {}

    const char* what() const noexcept override { return mText.c_str(); }

private:
    std::string mText;
};

/** A condition variable could not be made, signalled or waited on. */
class ConditionVariableException : public std::exception {
public:
    explicit ConditionVariableException(const std::string& message) :
        mText("ConditionVariableException: " + message) {}

    const char* what() const noexcept override { return mText.c_str(); }

private:
    std::string mText;
};

} // namespace mxcommon
