#include "tests/mxcommon/SystemFaults.h"

#include <cerrno>
#include <charconv>
#include <iterator>
#include <string_view>
#include <unistd.h>

namespace faults {

std::atomic<int> prctlError = 0;

State& state() {
    static thread_local State state;
    return state;
}

void note(const char* call, const char* object, int number) {
    if (state().noteCount == static_cast<int>(std::size(state().notes))) {
        return;
    }
    auto& next = state().notes[state().noteCount++].text;
    // Not by snprintf, which may be what fails.
    std::size_t length = 0;
    const auto append = [&](std::string_view text) {
        length += text.copy(next + length, sizeof next - 1 - length);
    };
    append(call);
    append(*object ? " " : "");
    append(object);
    if (number != 0) {
        char digits[12];
        append({digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr});
    }
}

namespace {

/** The object's number among those of its kind, the first one that was met being 1. */
int numberOf(const char* kind, const void* object) {
    int number = 1;
    for (auto& known : state().objects) {
        if (!known.kind) {
            known = {kind, object};
        }
        if (std::string_view(known.kind) == kind) {
            if (known.object == object) {
                return number;
            }
            ++number;
        }
    }
    return number;
}

} // namespace

const char* endOf(int fd) {
    if (fd == STDERR_FILENO) {
        return "standard error";
    }
    return fd == state().ends[0] ? "the read end" : fd == state().ends[1] ? "the write end" : "another";
}

int entered(Call call, const void* object) {
    if (state().pWatcher) {
        state().pWatcher->about(call, object);
    }
    ++state().count[call];
    if (state().fails[call] == 0) {
        return 0;
    }
    --state().fails[call];
    return state().error[call];
}

bool failed(Call call) {
    const int error = entered(call);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

void noteObject(const char* call, const char* kind, const void* object) {
    note(call, kind, numberOf(kind, object));
}

std::vector<std::string> calls() {
    std::vector<std::string> texts;
    for (int i = 0; i < state().noteCount; ++i) {
        texts.emplace_back(state().notes[i].text);
    }
    return texts;
}

} // namespace faults
