#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zebtest {

/** What euidaccess is in these programs: access() on the emulated nodes, noted, and refused where told. */
class NodeAccess {
public:
    /** The paths that were asked for, with the mode. */
    std::vector<std::pair<std::string, int>> asked;
    /** Decides instead of the node: may this path be used? Unset: look at the node. */
    std::function<bool(const std::string& path)> allow;

    static NodeAccess& instance();
    static void reset() { instance() = NodeAccess(); }
};

} // namespace zebtest
