#pragma once

#include "zebdiscovery/zebdiscovery.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace zebhost {

/** The host can't do what it was asked; the text is a sentence for the user. */
class HostError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** A loaded plug-in; unloaded when this goes. */
class Plugin {
public:
    /** Throws HostError with its own sentence for each: no such file, not loadable, no entry function,
     *  an entry function of another version. A name without a slash is looked up in the library path. */
    explicit Plugin(const std::string& path);

    ZEBDiscovererInitializeFunction initialize() const { return mInitialize; }

private:
    struct Closer {
        void operator()(void* library) const;
    };

    std::unique_ptr<void, Closer> mLibrary;
    ZEBDiscovererInitializeFunction mInitialize = nullptr;
};

/** The plug-in beside this program (as it is built) or where plug-ins are installed with it, when there is
 *  one; else its bare name. */
std::string defaultPluginPath();

} // namespace zebhost
