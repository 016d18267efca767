#pragma once

#include "host/Discoverer.h"
#include "host/Loop.h"
#include "host/Output.h"

#include <map>
#include <vector>

namespace zebhost {

/** A descriptor that the plug-in wants watched. */
struct WantedHandle {
    int descriptor;
    uint32_t events;
    /** The entity whose own descriptor it is, or null for one of the discoverer's own. */
    ZEBDiscovererEntity* entity;

    bool operator==(const WantedHandle&) const = default;
};

/**
 * The descriptors of the plug-in that the loop watches, kept as the plug-in lists them.
 *
 * A descriptor that is closed and opened again under the same number between two refreshes can't
 * be told from an old one, and the kernel watches it no more. So refresh after every entry point
 * that may close one.
 */
class HandleWatches {
public:
    HandleWatches(Loop& loop, const Discoverer& discoverer, Output& output);

    /** Ask the plug-in for its handles, or its one, and add the entities' own. */
    void refresh(const std::vector<WantedHandle>& entityHandles);

    /** Was the descriptor among the discoverer's at the last refresh? */
    bool lists(int descriptor) const;

    void clear();

private:
    void ask();
    void apply();
    void watch(const WantedHandle& wanted);
    void ready(const WantedHandle& handle) const;

    Loop& mLoop;
    const Discoverer& mDiscoverer;
    Output& mOutput;
    std::vector<WantedHandle> mWanted;
    std::vector<WantedHandle> mApplied;
    struct Watched {
        WantedHandle handle;
        std::unique_ptr<Watch> watch;
    };
    std::map<int, Watched> mWatches;
};

} // namespace zebhost
