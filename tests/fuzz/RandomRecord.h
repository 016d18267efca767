#pragma once

#include "tests/fuzz/Choices.h"
#include "tests/support/DeviceRecord.h"

#include <memory>
#include <string>

namespace zebtest {

/** What a record must be taken for. */
enum class Taken { Not, Tethering, ToBeSwitched, Switched };

/** The answer that a plug-in owes for a kind of record: its interest and why. */
struct Interest {
    int level;
    const char* reason;
};
Interest interestIn(Taken taken);

/**
 * A device record that somebody might offer, and what it must be taken for: found out anew here, from the
 * record as it was written down, by the rules as they are written in the contract's words.
 */
struct RandomRecord {
    /** Any record, or with only valid ones (mayBeOpened) one that a plug-in may be offered. */
    RandomRecord(Choices& choices, unsigned id);
    RandomRecord(unsigned id, Properties all, std::vector<Descriptor> records);

    /** The n-th property, or empty. */
    std::string property(std::size_t n) const;
    int number(std::size_t n) const;
    /** A plug-in stops the process when it has to make an accessory's entity without bus or number. */
    bool mayBeOffered() const;

    unsigned id;
    Properties properties;
    std::vector<Descriptor> descriptors;
    Taken taken;
    DeviceRecord record;
};

} // namespace zebtest
