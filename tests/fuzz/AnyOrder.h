#pragma once

#include "tests/fuzz/FakeUsb.h"
#include "tests/fuzz/ModelHost.h"

#include <memory>
#include <vector>

namespace zebtest {

/**
 * A host's whole life with a discoverer, with calls in any order that a host could make: what a call needs
 * by contract (an entity that is there, a handle that is listed, a successful init) is given, all else is as
 * the choices have it. Phones, network, libusb and the system do what they like.
 */
class AnyOrder {
public:
    /** Mostly the tables of today, or those of any host. */
    enum class Tables { Usual, Any };

    AnyOrder(ZEBDiscovererInitializeFunction function, Choices& choices, Tables tables = Tables::Usual);
    ~AnyOrder();
    AnyOrder(const AnyOrder&) = delete;
    AnyOrder& operator=(const AnyOrder&) = delete;

    /** Live for so many calls of entry points at most, and end; returns how many were made. */
    int live(int calls);
    /** The same with nothing but devices, which are offered and destroyed again. */
    void offerRecords(int calls);
    /** The same with one phone that is to be switched. */
    void shakeHands(int calls);

private:
    void end();
    /** Sizes of tables that a host might have. */
    std::size_t anySize(std::size_t whole);
    void begin();
    void anyCall();
    void deviceCall();
    void entityCall();
    void handleCall();
    void discovererCall();
    void changeWorld();
    /** After all that a phone of each kind must come through, as if nothing had been. */
    void expectNextPhonesWork();
    void expectSwitched();
    void expectCommand(const RandomRecord& record);

    RandomRecord& newRecord();
    RandomRecord& anyRecord();
    void forgetRecords();
    ZEBDiscovererEntity* anyEntity();

    ZEBDiscovererInitializeFunction mpFunction;
    Choices& mChoices;
    const Tables mTables;
    FakeUsb& mUsb;
    FakeSystem& mSystem;
    std::vector<std::unique_ptr<RandomRecord>> mRecords;
    std::unique_ptr<ModelHost> mpHost;
    bool mRuns = false;
    /** Its timer expires again and again, so that also what takes many tries is seen. */
    ZEBDiscovererEntity* mpPatient = nullptr;
    std::uint32_t mPatience = 0;
};

} // namespace zebtest
