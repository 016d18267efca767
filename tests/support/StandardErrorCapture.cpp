#include "tests/support/StandardErrorCapture.h"

#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace zebtest {

StandardErrorCapture::StandardErrorCapture(Kind kind) : mSaved(fcntl(2, F_DUPFD_CLOEXEC, 10)) {
    if (kind == Closed) {
        close(2);
        return;
    }
    char path[] = "/tmp/stderr-XXXXXX";
    mFile = mkostemp(path, O_CLOEXEC | O_APPEND);
    unlink(path);
    if (mSaved < 0 || mFile < 0 || dup2(mFile, 2) != 2)
        throw std::runtime_error("can't capture standard error");
}

StandardErrorCapture::~StandardErrorCapture() {
    dup2(mSaved, 2);
    close(mSaved);
    if (mFile >= 0)
        close(mFile);
}

std::string StandardErrorCapture::text() const {
    std::string all;
    char part[512];
    ssize_t got = 0;
    while ((got = pread(mFile, part, sizeof(part), static_cast<off_t>(all.size()))) > 0)
        all.append(part, static_cast<std::size_t>(got));
    return all;
}

} // namespace zebtest
