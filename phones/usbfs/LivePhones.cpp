#include "phones/usbfs/LivePhones.h"

#include <utility>

namespace zebphones {
namespace {

using namespace std::chrono_literals;

} // namespace

void LivePhones::plug(PhoneDescription description, UsbPort port) {
    Phone phone{.model = std::make_shared<PhoneModel>(std::move(description)), .device = nullptr};
    plan(mPhones.insert_or_assign(port, std::move(phone)).first->second, Next::Arrive, 0ms);
}

void LivePhones::unplug(UsbPort port) { plan(mPhones.at(port), Next::LeaveForGood, 0ms); }

bool LivePhones::step() {
    const auto now = mNow();
    auto due = mPhones.end();
    for (auto phone = mPhones.begin(); phone != mPhones.end(); ++phone) {
        look(phone->second);
        if (phone->second.next != Next::None && phone->second.when <= now &&
            (due == mPhones.end() || phone->second.when < due->second.when))
            due = phone;
    }
    if (due == mPhones.end())
        return false;
    act(due->first, due->second);
    return true;
}

std::vector<Exchange> LivePhones::received(UsbPort port) const {
    const Phone& phone = mPhones.at(port);
    // On the bus the model belongs to the bed's thread as well.
    return phone.device ? phone.device->received() : phone.model->received();
}

std::size_t LivePhones::calls(UsbPort port) const {
    const Phone& phone = mPhones.at(port);
    return phone.earlierCalls + (phone.device ? phone.device->calls() : 0);
}

// Has the phone been told to switch, or gone by itself?
void LivePhones::look(Phone& phone) {
    if (!phone.device || (phone.next != Next::None && phone.next != Next::LeaveToRevert))
        return;
    if (phone.device->isPulled())
        plan(phone, Next::LeaveForGood, 0ms);
    else if (phone.device->switchRequested())
        plan(phone, Next::LeaveToSwitch, phone.model->description().startTold);
}

// Whoever makes the switch looks at what the host has told when he hears of it, and a new request 51 has
// wiped that.
bool LivePhones::isStillToSwitch(const Phone& phone) { return phone.device->switchRequested(); }

void LivePhones::act(UsbPort port, Phone& phone) {
    const PhoneDescription& description = phone.model->description();
    switch (std::exchange(phone.next, Next::None)) {
    case Next::Arrive:
        come(port, phone);
        break;
    case Next::LeaveToSwitch:
        if (!isStillToSwitch(phone))
            break;
        go(port, phone);
        phone.model->reappearInAccessoryMode();
        plan(phone, Next::ReturnSwitched, description.away);
        break;
    case Next::ReturnSwitched:
        come(port, phone);
        if (description.reverts)
            plan(phone, Next::LeaveToRevert, *description.reverts);
        break;
    case Next::LeaveToRevert:
        go(port, phone);
        phone.model->reappearInNormalMode();
        plan(phone, Next::Arrive, description.away);
        break;
    case Next::LeaveForGood:
        go(port, phone);
        break;
    case Next::None:
        break;
    }
}

void LivePhones::plan(Phone& phone, Next next, std::chrono::milliseconds after) {
    phone.next = next;
    phone.when = mNow() + after;
}

void LivePhones::come(UsbPort port, Phone& phone) {
    phone.device = mBed.bringBack(phone.model, port);
    ++mChanges;
}

void LivePhones::go(UsbPort port, Phone& phone) {
    if (!phone.device)
        return;
    mBed.takeAway(port);
    phone.earlierCalls += phone.device->calls();
    phone.device.reset();
    ++mChanges;
}

} // namespace zebphones
