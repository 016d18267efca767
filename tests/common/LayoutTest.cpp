#include "zebdiscovery/zebdiscovery.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <type_traits>

namespace {

struct SlotRow {
    unsigned offset; // in bytes, where pointers have four
    std::size_t actual;
    const char* name;
};

using I = ZEBDiscovererInterface;
using C = ZEBDiscovererCallbacks;
using U = ZEBDiscoverySDKUtils;

#define SLOT(table, offset, name)                                                                            \
    { offset, offsetof(table, name), #name }

constexpr SlotRow kInterface[] = {
    SLOT(I, 0, setContext),
    SLOT(I, 4, getEventHandle),
    SLOT(I, 8, handleEvent),
    SLOT(I, 12, handleTimeout),
    SLOT(I, 16, getEntityEventHandle),
    SLOT(I, 20, handleEntityEvent),
    SLOT(I, 24, handleEntityTimeout),
    SLOT(I, 28, setProperty),
    SLOT(I, 32, getProperty),
    SLOT(I, 36, getViewerParameters),
    SLOT(I, 40, start),
    SLOT(I, 44, stop),
    SLOT(I, 48, fetchEntityValue),
    SLOT(I, 52, getEntityBinaryData),
    SLOT(I, 56, postEntityValue),
    SLOT(I, 60, cancelRequest),
    SLOT(I, 64, destroyEntity),
    SLOT(I, 68, createEntity),
    SLOT(I, 72, publishEntity),
    SLOT(I, 76, unpublishEntity),
    SLOT(I, 80, destroyUnpublishedEntity),
    SLOT(I, 84, destroyDiscoverer),
    SLOT(I, 88, reserved88),
    SLOT(I, 92, handleSingleEvent),
    SLOT(I, 96, handleTimeoutForEventHandle),
    SLOT(I, 100, init),
    SLOT(I, 104, deviceProviderStarted),
    SLOT(I, 108, getDeviceInterest),
    SLOT(I, 112, offerDevice),
    SLOT(I, 116, removeDevice),
    SLOT(I, 120, deviceProviderStopped),
    SLOT(I, 124, getDescription),
    SLOT(I, 128, getMultipleEventHandlesEx),
    SLOT(I, 132, setExternalContext),
    SLOT(I, 136, offerDeviceForProtocol),
};

constexpr SlotRow kCallbacks[] = {
    SLOT(C, 0, reserved0),
    SLOT(C, 4, reserved4),
    SLOT(C, 8, reserved8),
    SLOT(C, 12, reserved12),
    SLOT(C, 16, discovererStarted),
    SLOT(C, 20, discovererStopped),
    SLOT(C, 24, setTimer),
    SLOT(C, 28, addEntity),
    SLOT(C, 32, setEntityTimer),
    SLOT(C, 36, forward36),
    SLOT(C, 40, entityLost),
    SLOT(C, 44, fetchComplete),
    SLOT(C, 48, postComplete),
    SLOT(C, 52, publishComplete),
    SLOT(C, 56, unpublishComplete),
    SLOT(C, 60, log),
    SLOT(C, 64, allocString),
    SLOT(C, 68, freeString),
    SLOT(C, 72, reserved72),
    SLOT(C, 76, addUnpublishedEntity),
    SLOT(C, 80, isLogLevelEnabled),
    SLOT(C, 84, setTimerForHandle),
    SLOT(C, 88, eventHandlesChanged),
    SLOT(C, 92, forward92),
    SLOT(C, 96, forward96),
    SLOT(C, 100, forward100),
    SLOT(C, 104, subscribeToDeviceProvider),
    SLOT(C, 108, unsubscribeFromDeviceProvider),
    SLOT(C, 112, setDeviceProviderProperty),
    SLOT(C, 116, getDeviceProviderProperty),
    SLOT(C, 120, releaseDevice),
    SLOT(C, 124, forward124),
    SLOT(C, 128, fillUtils),
    SLOT(C, 132, errorText),
    SLOT(C, 136, forward136),
    SLOT(C, 140, forward140),
    SLOT(C, 144, forward144),
    SLOT(C, 148, freeProtocolString),
};

constexpr SlotRow kUtils[] = {
    SLOT(U, 0, context),
    SLOT(U, 4, createGenerator),
    SLOT(U, 8, generatorOperation8),
    SLOT(U, 12, generatorOperation12),
    SLOT(U, 16, generatorBytes),
    SLOT(U, 20, reserved20),
    SLOT(U, 24, generatorResult),
    SLOT(U, 28, destroyGenerator),
    SLOT(U, 32, createParser),
    SLOT(U, 36, parserValue),
    SLOT(U, 40, parserInt32),
    SLOT(U, 44, parserInt16),
    SLOT(U, 48, reserved48),
    SLOT(U, 52, parserQuery),
    SLOT(U, 56, destroyParser),
};

template <std::size_t N>
void expectSlotsAtTheirOffsets(const SlotRow (&rows)[N]) {
    for (const SlotRow& row : rows)
        EXPECT_EQ(row.actual, row.offset / 4 * sizeof(void*)) << row.name;
}

TEST(TheContract, HasAnEntryPointTableOf35Slots) {
    EXPECT_EQ(std::size(kInterface), 35U);
    EXPECT_EQ(sizeof(I), 35 * sizeof(void*));
    expectSlotsAtTheirOffsets(kInterface);
}

TEST(TheContract, HasACallbackTableOf38Slots) {
    EXPECT_EQ(std::size(kCallbacks), 38U);
    EXPECT_EQ(sizeof(C), 38 * sizeof(void*));
    expectSlotsAtTheirOffsets(kCallbacks);
}

TEST(TheContract, HasAUtilitiesRecordOf15Slots) {
    EXPECT_EQ(std::size(kUtils), 15U);
    EXPECT_EQ(sizeof(U), 15 * sizeof(void*));
    expectSlotsAtTheirOffsets(kUtils);
}

TEST(TheContract, LaysOutADeviceRecordWithNaturalAlignment) {
    const bool narrow = sizeof(void*) == 4;
    using D = ZEBDeviceInfo;

    EXPECT_EQ(offsetof(D, reserved), 0U);
    EXPECT_EQ(offsetof(D, deviceId), 4U);
    EXPECT_EQ(offsetof(D, propertiesCount), 8U);
    EXPECT_EQ(offsetof(D, properties), narrow ? 12U : 16U);
    EXPECT_EQ(offsetof(D, descriptorsCount), narrow ? 16U : 24U);
    EXPECT_EQ(offsetof(D, descriptors), narrow ? 20U : 32U);
    EXPECT_EQ(sizeof(D), narrow ? 24U : 40U);
}

TEST(TheContract, LaysOutADescriptorRecordWithNaturalAlignment) {
    const bool narrow = sizeof(void*) == 4;
    using D = ZEBDeviceDescriptor;

    EXPECT_EQ(offsetof(D, kind), 0U);
    EXPECT_EQ(offsetof(D, active), 4U);
    EXPECT_EQ(offsetof(D, propertiesCount), 8U);
    EXPECT_EQ(offsetof(D, properties), narrow ? 12U : 16U);
    EXPECT_EQ(offsetof(D, childrenCount), narrow ? 16U : 24U);
    EXPECT_EQ(offsetof(D, children), narrow ? 20U : 32U);
    EXPECT_EQ(sizeof(D), narrow ? 24U : 40U);
}

TEST(TheContract, NumbersItsErrors) {
    EXPECT_EQ(ZEBDiscoverySDKErrorNone, 0);
    EXPECT_EQ(ZEBDiscoverySDKErrorInvalidParameter, 1);
    EXPECT_EQ(ZEBDiscoverySDKErrorOutOfMemory, 3);
    EXPECT_EQ(ZEBDiscoverySDKErrorNotImplemented, 9);
    EXPECT_EQ(ZEBDiscoverySDKErrorCancelled, 11);
    EXPECT_EQ(ZEBDiscoverySDKErrorFailed, 15);
    EXPECT_EQ(ZEBDiscoverySDKErrorUnexpected, 23);
}

TEST(TheContract, NumbersItsSeveritiesHandlesAndLevels) {
    EXPECT_EQ(ZEBDiscoveryLogSeverityFatal, 0);
    EXPECT_EQ(ZEBDiscoveryLogSeverityError, 10);
    EXPECT_EQ(ZEBDiscoveryLogSeverityInfo, 30);
    EXPECT_EQ(ZEBDiscoveryLogSeverityDebug, 80);
    EXPECT_EQ(ZEBDiscovererNoEventHandle, -1);
    EXPECT_EQ(ZEBDeviceInterestNone, 100);
    EXPECT_EQ(ZEBDiscoverySDKTimeoutCancel, -1);
    EXPECT_EQ(UsbDeviceProviderDevicePropertyProductId, 3);
}

TEST(TheContract, UsesSigned32BitNumbersForErrorsTimeoutsAndLevels) {
    EXPECT_TRUE((std::is_same_v<ZEBDiscoverySDKError, int32_t>));
    EXPECT_TRUE((std::is_same_v<ZEBDiscoverySDKTimeoutMicroseconds, int32_t>));
    EXPECT_TRUE((std::is_same_v<ZEBDeviceInterestLevel, int32_t>));
    EXPECT_TRUE((std::is_same_v<ZEBDiscovererEventHandle, int>));
}

} // namespace
