#pragma once

#include "common/EventHandles.h"
#include "tests/support/Assertions.h"
#include "tests/support/FailingNew.h"

#include <cstring>
#include <vector>

namespace zebtest {

using zebdiscovery::EventHandles;
using HandleSet = EventHandles::HandleSet;

/** A set's members, in their documented order. */
struct Members {
    int* handles;
    int* writeNotification;
    uint32_t count;
    uint32_t capacity;
};
static_assert(sizeof(Members) == sizeof(HandleSet));

inline Members membersOf(const HandleSet& set) {
    Members members;
    std::memcpy(&members, reinterpret_cast<const char*>(&set), sizeof(members));
    return members;
}

/** Break a set, as only a bug could. */
inline void overwrite(HandleSet& set, const Members& members) {
    std::memcpy(reinterpret_cast<char*>(&set), &members, sizeof(members));
}

inline void add(HandleSet& set, int handle, bool write = false) { set.addHandle(&handle, write); }
inline void remove(HandleSet& set, int handle) { set.removeHandle(&handle); }

/** Handles 100, 101, ...; every third with its write flag. */
inline void fill(HandleSet& set, int count) {
    for (int i = 0; i < count; ++i)
        add(set, 100 + i, i % 3 == 0);
}

inline std::vector<int> handlesOf(const HandleSet& set) {
    const Members members = membersOf(set);
    return {members.handles, members.handles + members.count};
}

inline std::vector<int> flagsOf(const HandleSet& set) {
    const Members members = membersOf(set);
    return {members.writeNotification, members.writeNotification + members.count};
}

inline void expectFilled(const HandleSet& set, int count) {
    ASSERT_EQ(membersOf(set).count, static_cast<uint32_t>(count));
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(set.eventHandles()[i], 100 + i);
        EXPECT_EQ(set.writeNotifications()[i], i % 3 == 0 ? 1 : 0) << i;
    }
    EXPECT_EQ(set.eventHandles()[count], -1);
}

} // namespace zebtest
