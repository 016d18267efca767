#include "host/StageTimes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace zebhost {
namespace {

constexpr uint64_t kReturnUs = 10'000'000;
// What some devices, and then Android itself, give a phone from the plug to the accessory.
constexpr uint64_t kStrictBudgetUs = 6'000'000;
constexpr uint64_t kAndroidBudgetUs = 10'000'000;
constexpr std::string_view kStartLine = "Asking AAP device to switch to accessory mode";

std::string lateness(uint64_t total) {
    std::array<char, 160> text;
    std::snprintf(
        text.data(), text.size(),
        "the phone took %.1f s from the plug to the accessory: %s; the stages say where the time went",
        static_cast<double>(total) / 1e6,
        total > kAndroidBudgetUs ? "Android gives up after 10 s, and some devices after 6 s"
                                 : "some devices give up after 6 s (Android after 10 s)");
    return text.data();
}

} // namespace

void StageTimes::take(uint64_t nowUs, const Event& event) {
    std::visit([this, nowUs](const auto& e) { on(nowUs, e); }, event);
}

void StageTimes::on(uint64_t now, const DeviceEvent& event) {
    if (std::string_view(event.action) == "add")
        plugged(now, event.address.port);
    else
        unplugged(now, event.address.port);
}

void StageTimes::plugged(uint64_t now, const std::string& port) {
    auto story = mStories.find(port);
    bool isBack = story != mStories.end() && story->second.left && now - *story->second.left <= kReturnUs;
    if (!isBack) {
        mStories.insert_or_assign(port, Story{now});
        return;
    }
    mark(now, port, "back");
    story->second.left.reset();
}

void StageTimes::unplugged(uint64_t now, const std::string& port) {
    Story& story = mStories.at(port);
    if (!story.isCandidate && (!story.asked || now - *story.asked > kReturnUs)) {
        mStories.erase(port);
        return;
    }
    story.isCandidate = false;
    story.asked.reset();
    mark(now, port, "left");
    story.left = now;
}

void StageTimes::on(uint64_t, const VerdictEvent& event) {
    mStories.at(event.address.port).isTether = std::string_view(event.rule) == "tether-rndis";
}

void StageTimes::on(uint64_t now, const InterestEvent& event) { mark(now, event.address.port, "interest"); }

void StageTimes::on(uint64_t now, const OfferEvent& event) { mark(now, event.address.port, "offer"); }

void StageTimes::on(uint64_t now, const EntityEvent& event) {
    std::string_view action = event.action;
    auto story = mStories.find(event.address.port);
    if (action == "destroyed")
        mEntities.erase(event.id);
    if (story == mStories.end())
        return;
    if (action == "added" || action == "published") {
        mEntities[event.id] = event.address;
        mark(now, event.address.port, "entity");
    }
    if (action == "published")
        mark(now, event.address.port, "published");
    // What is lost after its phone has left says nothing of the phone that came to its port.
    if (!story->second.left)
        story->second.isCandidate = action == "added";
}

void StageTimes::on(uint64_t now, const ValueEvent& event) {
    auto entity = mEntities.find(event.id);
    if (event.key != "zebcmd" || !event.value || entity == mEntities.end())
        return;
    UsbAddress address = entity->second;
    auto story = mStories.find(address.port);
    if (story == mStories.end() || story->second.isTold)
        return;
    mark(now, address.port, "command");
    tell(story->second, address);
}

void StageTimes::on(uint64_t now, const LogEvent& event) {
    auto isCandidate = [](const auto& story) { return story.second.isCandidate; };
    auto story = std::find_if(mStories.begin(), mStories.end(), isCandidate);
    if (event.text != kStartLine || std::count_if(mStories.begin(), mStories.end(), isCandidate) != 1)
        return;
    story->second.asked = now;
    mark(now, story->first, "start");
}

/** The first time counts: a phone that has switched is judged and offered once more. */
void StageTimes::mark(uint64_t now, const std::string& port, const char* stage) {
    auto story = mStories.find(port);
    if (story == mStories.end() || story->second.isTold)
        return;
    auto& stages = story->second.stages;
    bool isKnown = std::any_of(stages.begin(), stages.end(), [stage](const StoryEvent::Stage& known) {
        return std::string_view(known.name) == stage;
    });
    if (!isKnown)
        stages.push_back({stage, now - story->second.begin});
}

void StageTimes::tell(Story& story, const UsbAddress& address) {
    story.isTold = true;
    mReport(StoryEvent{address, story.isTether ? "tether" : "accessory", story.stages});
    uint64_t total = story.stages.back().afterUs;
    if (!story.isTether && total > kStrictBudgetUs)
        mReport(AdviceEvent{"slow", address, lateness(total)});
}

} // namespace zebhost
