// Two threads that write one number without a lock, beside an emulated phone: the
// thread sanitizer must still report it, with all the suppressions of the tests.
#include "phones/Catalogue.h"
#include "phones/usbfs/Testbed.h"

#include <thread>

namespace {

int number = 0;

void addUp() {
    for (int i = 0; i < 1'000; ++i) {
        number += i;
    }
}

} // namespace

int main() {
    zebphones::Testbed bed;
    bed.plug(zebphones::loadPhone("accessory"));
    std::thread other(addUp);
    addUp();
    other.join();
    return number == 0 ? 1 : 0;
}
