#include "usb/AAPConfiguration.h"

#include <cstring>

namespace zebdiscoverer_usb {

struct AAPConfiguration::Row {
    const char* key;
    Text AAPConfiguration::*member;
};

const AAPConfiguration::Row AAPConfiguration::kRows[] = {
    {"aapmanufacturer", &AAPConfiguration::mManufacturer},
    {"aapmodel", &AAPConfiguration::mModel},
    {"aapdescription", &AAPConfiguration::mDescription},
    {"aapversion", &AAPConfiguration::mVersion},
    {"aapuri", &AAPConfiguration::mUri},
    {"aapserial", &AAPConfiguration::mSerial},
};

ZEBDiscoverySDKError AAPConfiguration::setProperty(const char* key, const char* value) {
    for (const Row& row : kRows) {
        if (!key || std::strcmp(key, row.key) != 0)
            continue;
        Text copy;
        if (value) {
            const size_t bytes = std::strlen(value) + 1;
            copy.reset(static_cast<char*>(std::malloc(bytes)));
            if (!copy)
                return ZEBDiscoverySDKErrorOutOfMemory;
            std::memcpy(copy.get(), value, bytes);
        }
        this->*row.member = std::move(copy);
        return ZEBDiscoverySDKErrorNone;
    }
    return ZEBDiscoverySDKErrorNotImplemented;
}

const char* AAPConfiguration::getManufacturer() const {
    return mManufacturer ? mManufacturer.get() : "Example Company";
}

const char* AAPConfiguration::getModel() const { return mModel ? mModel.get() : "AAPTest"; }

const char* AAPConfiguration::getDescription() const {
    return mDescription ? mDescription.get() : "Example Company AAP Bearer";
}

const char* AAPConfiguration::getVersion() const { return mVersion ? mVersion.get() : "0.1"; }

const char* AAPConfiguration::getUri() const { return mUri ? mUri.get() : "https://www.example.com/"; }

const char* AAPConfiguration::getSerial() const { return mSerial ? mSerial.get() : "serial_number"; }

} // namespace zebdiscoverer_usb
