#pragma once

#include "tests/fuzz/Choices.h"

#include <set>
#include <vector>

namespace zebtest {

/**
 * The system's functions that the plug-in of this process calls: socket, ioctl(SIOCGIFCONF), pipe and
 * euidaccess, which fail as the choices have it. Knows which descriptors they gave.
 */
class FakeSystem {
public:
    /** How the searches for a network went, oldest first. */
    enum class Search { Failed, Nothing, Found };

    static FakeSystem& instance();
    void reset(Choices& choices);
    /** The choices go. What is asked for between two runs succeeds: sanitizers make pipes of their own. */
    void release() { mpChoices = nullptr; }

    /** Nothing fails, and the phone's network is there or not; or as the choices have it. */
    void setHealthy(bool healthy) { mHealthy = healthy; }
    void setNetwork(bool up) { mNetwork = up; }

    /** The searches since this was last asked. Each must have closed its socket, but one whose ioctl has
     *  failed, which stays open (and is closed here). */
    std::vector<Search> takeSearches();
    /** All that was ever given is closed. */
    void expectNothingLeft() const;

    // What the functions do.
    int openSocket();
    int listInterfaces(int descriptor, void* list);
    int makePipe(int* ends);
    int access();

private:
    FakeSystem();
    bool fails(std::uint32_t n);

    /** What sockets really are; open before any pipe is, and as long as the process lives. */
    const int mNothing;
    Choices* mpChoices = nullptr;
    bool mHealthy = false;
    bool mNetwork = false;
    std::vector<Search> mSearches;
    std::vector<int> mOpen;
    std::vector<int> mLeftOpen; // on purpose, by the plug-in
    std::set<int> mGiven;
};

} // namespace zebtest
