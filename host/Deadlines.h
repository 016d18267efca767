#pragma once

#include "host/Loop.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace zebhost {

/** Times at which something is due, one a name. The handler may set and erase any. */
class Deadlines {
public:
    /** The handler is called from the loop with the name of what is due; it is no longer set then. */
    Deadlines(Loop& loop, std::function<void(const std::string& name)> handler);

    /** In so many µs from now; replaces what was set. */
    void set(const std::string& name, uint64_t microseconds);
    void erase(const std::string& name) { mDue.erase(name); }

private:
    void arm();
    void expire();

    std::function<void(const std::string&)> mHandler;
    std::map<std::string, uint64_t> mDue;
    Timer mTimer;
};

} // namespace zebhost
