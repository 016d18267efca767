// The demonstration: two phones are plugged into a machine that has no USB, and
// zebhost, which knows nothing of it, finds them.
#pragma once

#include "phones/PhoneLinks.h"
#include "phones/demo/HostProcess.h"
#include "phones/usbfs/Testbed.h"

#include <string>

namespace zebphones {

// Where the programs and libraries are; zebhost finds its plug-in itself.
struct DemoFiles {
    std::string zebhost;
    // What zebhost is started with: colon-separated, for LD_PRELOAD.
    std::string preload;
};

class Play {
public:
    Play(const DemoFiles& files, const std::vector<std::string>& hostArguments);

    // Everything in order. Throws std::runtime_error at the first thing that does not happen.
    void run();

private:
    void start();
    void tetheringPhoneComes();
    void accessoryPhoneComes();
    void accessoryPhoneSwitches();
    void bothGo();
    void stop();

    void tell(const std::string& text);
    void tellWhatThePhoneWasSent();
    void expect(const std::string& line, const std::string& meaning);

    PhoneLinks mLinks;
    Testbed mBed;
    HostProcess mHost;
    int mStep = 0;
};

} // namespace zebphones
