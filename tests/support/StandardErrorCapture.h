#pragma once

#include <string>

namespace zebtest {

/** While it lives, descriptor 2 leads to a temporary file; or, as Closed, is not open at all. */
class StandardErrorCapture {
public:
    enum Kind { ToFile, Closed };

    explicit StandardErrorCapture(Kind kind = ToFile);
    ~StandardErrorCapture();
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

    /** Everything that was written to it so far. */
    std::string text() const;

private:
    int mSaved;
    int mFile = -1;
};

} // namespace zebtest
