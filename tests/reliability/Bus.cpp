#include "tests/reliability/Bus.h"

#include "phones/Catalogue.h"

namespace zebtest {

using namespace zebphones;

namespace {

// A bus has numbers up to 127.
constexpr int kPlugsOfABus = 100;
constexpr std::size_t kPlaces = 2;

// Read once: a sweep takes thousands of phones.
const PhoneDescription& accessoryPhone() {
    static const PhoneDescription kPhone = loadPhone("accessory");
    return kPhone;
}

int portOf(std::size_t place) { return static_cast<int>(place) + 1; }

} // namespace

Bus& Bus::instance() {
    static Bus bus;
    return bus;
}

std::shared_ptr<UsbfsDevice> Bus::take(std::size_t place) {
    if (mPhones.size() <= place)
        mPhones.resize(place + 1);
    if (!mPhones[place]) {
        mPhones[place] = mBed->plug(accessoryPhone(), portOf(place));
        ++mPlugs;
    }
    mPhones[place]->hold(false);
    mPhones[place]->withModel([](PhoneModel& model) { model = PhoneModel(accessoryPhone()); });
    return mPhones[place];
}

void Bus::pull(std::size_t place) {
    mBed->unplug(portOf(place));
    mPhones[place].reset();
}

void Bus::plugAll() {
    for (std::size_t place = 0; place < kPlaces; ++place)
        take(place);
}

bool Bus::tidy() {
    const bool isUsedUp = mPlugs >= kPlugsOfABus;
    if (isUsedUp) {
        mPhones.clear();
        mPlugs = 0;
        mBed.reset();
        mBed = std::make_unique<Testbed>();
    }
    plugAll();
    return isUsedUp;
}

} // namespace zebtest
