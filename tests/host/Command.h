// The program as it is started from a shell.
#pragma once

#include "tests/host/KeptLines.h"

#include <array>
#include <string>
#include <sys/wait.h>

namespace zebhost {

struct Result {
    int status;
    std::string output;
};

/** What a shell command ends with; standard output and error together. */
inline Result shell(const std::string& command) {
    std::FILE* pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
    std::string output;
    std::array<char, 1024> bytes;
    while (size_t length = std::fread(bytes.data(), 1, bytes.size(), pipe))
        output.append(bytes.data(), length);
    keepLines(output);
    return {WEXITSTATUS(pclose(pipe)), output};
}

inline Result zebhost(const std::string& arguments) { return shell(ZEBHOST_COMMAND " " + arguments); }

} // namespace zebhost
