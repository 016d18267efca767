// What every demonstration needs: a machine with an emulated USB bus, zebhost on it, phones
// that live their own lives, and a voice that tells a spectator what happens.
#pragma once

#include "phones/Catalogue.h"
#include "phones/PhoneLinks.h"
#include "phones/demo/Asked.h"
#include "phones/demo/HostProcess.h"
#include "phones/usbfs/LivePhones.h"

#include <string>
#include <utility>
#include <vector>

namespace zebphones {

// Where the programs and libraries of the build are.
struct DemoFiles {
    std::string zebhost;
    // What zebhost is started with: colon-separated, for LD_PRELOAD.
    std::string preload;
};

class Scene {
public:
    using Properties = std::vector<std::pair<std::string, std::string>>;

    // zebhost gets the properties, then the further arguments that were asked for.
    Scene(const DemoFiles& files, const std::vector<std::string>& hostArguments,
          const Properties& properties);

    // The next step of the story.
    void tell(const std::string& text);
    // A further line of it, of somebody else than zebhost.
    void note(const std::string& who, const std::string& text);

    void plug(const PhoneFile& file, int port);
    // The network interface of the phone at the port appears.
    void bringLinkUp(const PhoneFile& file, int port);
    void unplug(int port);
    LivePhones& phones() { return mPhones; }

    // Throws std::runtime_error when zebhost does not.
    void expect(const std::string& text, const std::string& meaning);
    // What becomes of the phone, by the rule that zebhost says; see Asked. Throws std::runtime_error when it
    // says none that fits the phone's file and what was asked.
    std::string hearsOutcome(const PhoneFile& file);
    void pause(std::chrono::milliseconds time);

    void start();
    // Throws std::runtime_error when zebhost does not end well.
    void stop();

private:
    // zebhost tells something with one of the texts; false when it did not within a few seconds.
    bool hears(const std::vector<std::string>& texts);

    Testbed mBed;
    LivePhones mPhones{mBed};
    PhoneLinks mLinks;
    const Asked mAsked;
    HostProcess mHost;
    int mStep = 0;
};

} // namespace zebphones
