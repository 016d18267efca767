#pragma once

#include "zebdiscovery/types.h"

#include <cstdlib>
#include <memory>

namespace zebdiscoverer_usb {

/**
 * The six identification strings that a phone is told before it is asked to switch
 * to accessory mode, each with a default for as long as the host has set none.
 * [host-thread]
 */
class AAPConfiguration {
public:
    /**
     * Copy a value for one of the six keys ("aapmanufacturer" and so on, exactly); null goes back to the
     * default, an empty text stays one. NotImplemented for any other key; OutOfMemory with the old value
     * kept.
     */
    ZEBDiscoverySDKError setProperty(const char* key, const char* value);

    // NUL-terminated; valid until the string is next set or the configuration goes.
    const char* getManufacturer() const;
    const char* getModel() const;
    const char* getDescription() const;
    const char* getVersion() const;
    const char* getUri() const;
    const char* getSerial() const;

private:
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    /** Null: the default. */
    using Text = std::unique_ptr<char, Free>;
    struct Row;
    static const Row kRows[];

    Text mManufacturer;
    Text mModel;
    Text mDescription;
    Text mVersion;
    Text mUri;
    Text mSerial;
};

} // namespace zebdiscoverer_usb
