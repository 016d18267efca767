#pragma once

namespace mxcommon {

/** Root of what is deleted through a pointer to a base. */
class VirtualBase {
public:
    virtual ~VirtualBase() = default;
};

} // namespace mxcommon
