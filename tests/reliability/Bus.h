#pragma once

#include "phones/usbfs/Testbed.h"

#include <memory>
#include <vector>

namespace zebtest {

/** An emulated bus with phones that can be switched, for all that a process plays: made anew only when its
 *  numbers run out, because that takes long. Its phones are as new whenever one is taken. */
class Bus {
public:
    static Bus& instance();

    /** A healthy phone; the n-th that is taken at the same time has the n-th place. */
    std::shared_ptr<zebphones::UsbfsDevice> take(std::size_t place);
    /** Pull the plug of a phone; the next one at its place is plugged anew. */
    void pull(std::size_t place);
    /** Plug what was pulled, so that the bus itself always holds as much. */
    void plugAll();
    /** Between two lives of a host: the same, but make the bus anew if it is time; says whether it did. */
    bool tidy();
    /** Wait until the bus has let go of what its clients have let go of. */
    void rest() { mBed->rest(); }

private:
    std::unique_ptr<zebphones::Testbed> mBed = std::make_unique<zebphones::Testbed>();
    std::vector<std::shared_ptr<zebphones::UsbfsDevice>> mPhones;
    int mPlugs = 0;
};

} // namespace zebtest
