#include "bench/counts/Tracer.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zebbench {
namespace {

// Stops the child for the parent, who takes it away: a marker is no signal to the child.
constexpr int kMarker = SIGUSR1;
constexpr int kSystemCallStop = SIGTRAP | 0x80;

} // namespace

/** Written by the parent while the child stands still. */
struct Tracer::Shared {
    long instructions;
    long systemCalls;
};

Tracer::Tracer() :
    mpShared(static_cast<Shared*>(
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    const int child = fork();
    if (child < 0) {
        std::perror("fork");
        std::exit(EXIT_FAILURE);
    }
    if (child > 0)
        watch(child);
    mIsTraced = ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
    mark();
    mOverhead = countMarked([] {}, [] {});
}

void Tracer::mark() const {
    if (mIsTraced)
        raise(kMarker);
}

Traced Tracer::countMarked(const std::function<void()>& operation, const std::function<void()>& undo) {
    for (int run = 0; run < 2; ++run) {
        mark();
        operation();
        mark();
        undo();
    }
    return {mIsTraced, mpShared->instructions, mpShared->systemCalls};
}

Traced Tracer::count(const std::function<void()>& operation, const std::function<void()>& undo) {
    Traced counted = countMarked(operation, undo);
    counted.instructions -= mOverhead.instructions;
    counted.systemCalls -= mOverhead.systemCalls;
    return counted;
}

/** The first marker comes at the start; then by turns before and after an operation, whose first run is for
 * its system calls and the second for its instructions. */
void Tracer::watch(int child) const {
    constexpr __ptrace_request kThen[] = {PTRACE_SYSCALL, PTRACE_CONT, PTRACE_SINGLESTEP, PTRACE_CONT};
    long stops = 0;
    int markers = -1;
    __ptrace_request way = PTRACE_CONT;
    int status = 0;
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        int signal = WSTOPSIG(status);
        if (signal == kMarker && ++markers == 0)
            ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
        if (signal == kMarker && markers > 0) {
            // A system call stops twice: as it begins and as it ends.
            if (way == PTRACE_SYSCALL)
                mpShared->systemCalls = stops / 2;
            if (way == PTRACE_SINGLESTEP)
                mpShared->instructions = stops;
            way = kThen[(markers - 1) % 4];
            stops = 0;
        }
        stops += signal == SIGTRAP || signal == kSystemCallStop;
        if (signal == kMarker || signal == SIGTRAP || signal == kSystemCallStop)
            signal = 0;
        ptrace(way, child, nullptr, signal);
    }
    std::exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

} // namespace zebbench
