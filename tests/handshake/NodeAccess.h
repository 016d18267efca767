#pragma once

#include <functional>
#include <string>

namespace zebtest {

/**
 * What euidaccess is in these programs: access() on the emulated nodes, noted in the record of the
 * test's host, and refused where told.
 */
class NodeAccess {
public:
    /** Decides instead of the node: may this path be used? Unset: look at the node. */
    std::function<bool(const std::string& path)> allow;

    static NodeAccess& instance();
    static void reset() { instance() = NodeAccess(); }
};

} // namespace zebtest
