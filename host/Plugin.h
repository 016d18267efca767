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
    /** Throws HostError with its own sentence for each: no such file, a folder, not readable, no ELF file,
     *  another width, another machine, no shared library, not loadable, no entry function, one without a
     *  version, one of another version. A name without a slash is looked up in the library path. */
    explicit Plugin(const std::string& path);

    ZEBDiscovererInitializeFunction initialize() const { return mInitialize; }
    /** Where it was found. */
    const std::string& file() const { return mFile; }

private:
    struct Closer {
        void operator()(void* library) const;
    };

    std::unique_ptr<void, Closer> mLibrary;
    std::string mFile;
    ZEBDiscovererInitializeFunction mInitialize = nullptr;
};

/** The plug-in beside this program (as it is built) or where plug-ins are installed with it, when there is
 *  one; else its bare name. */
std::string defaultPluginPath();

/** The path of a library that is installed with this program: beside it or in the folder of plug-ins, else
 * its bare name, for the library path. */
std::string besideProgram(const std::string& fileName);

} // namespace zebhost
