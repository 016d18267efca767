#include "phones/usbfs/LivePhones.h"

#include <utility>

namespace zebphones {
namespace {

using namespace std::chrono_literals;

// Between taking the start request and leaving the bus, as phones do.
constexpr auto kBeforeLeaving = 10ms;

} // namespace

void LivePhones::plug(PhoneDescription description, int port) {
    Phone phone{.model = std::make_shared<PhoneModel>(std::move(description)), .device = nullptr};
    plan(mPhones.insert_or_assign(port, std::move(phone)).first->second, Next::Arrive, 0ms);
}

void LivePhones::unplug(int port) { plan(mPhones.at(port), Next::LeaveForGood, 0ms); }

bool LivePhones::step() {
    const auto now = Clock::now();
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

std::vector<Exchange> LivePhones::received(int port) const {
    const Phone& phone = mPhones.at(port);
    // On the bus the model belongs to the bed's thread as well.
    return phone.device ? phone.device->received() : phone.model->received();
}

std::size_t LivePhones::calls(int port) const {
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
        plan(phone, Next::LeaveToSwitch, kBeforeLeaving);
}

void LivePhones::act(int port, Phone& phone) {
    const PhoneDescription& description = phone.model->description();
    switch (std::exchange(phone.next, Next::None)) {
    case Next::Arrive:
        come(port, phone);
        break;
    case Next::LeaveToSwitch:
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
    phone.when = Clock::now() + after;
}

void LivePhones::come(int port, Phone& phone) {
    phone.device = mBed.bringBack(phone.model, port);
    ++mChanges;
}

void LivePhones::go(int port, Phone& phone) {
    if (!phone.device)
        return;
    mBed.takeAway(port);
    phone.earlierCalls += phone.device->calls();
    phone.device.reset();
    ++mChanges;
}

} // namespace zebphones
