// For each scenario the n-th call of each of the host's callbacks throws, for n = 1, 2, ... until the
// scenario passes with nothing thrown: a std::exception, and then something that is none.
#include "tests/reliability/Bus.h"
#include "tests/reliability/Loaded.h"
#include "tests/reliability/Resources.h"
#include "tests/reliability/Scenarios.h"
#include "tests/support/StandardErrorCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <stdexcept>

using namespace testing;

namespace zebtest {
namespace {

enum class Thrown { Exception, Number };

struct Point {
    const Scenario* scenario;
    std::string callback;
    int n;
    Thrown what;
};

[[noreturn]] void raise(Thrown what) {
    if (what == Thrown::Exception)
        throw std::runtime_error("the host broke");
    throw 42;
}

/** One point; says whether it was reached. */
bool play(const Point& point) {
    Stage stage(Loaded::plugin().initialize());
    point.scenario->prepare(stage);
    int left = point.n;
    stage.host.onEvery = [&](const char* callback) {
        if (callback == point.callback && --left == 0)
            raise(point.what);
    };
    point.scenario->run(stage);
    stage.host.onEvery = nullptr;
    // A release that threw is repeated: who knows how far the host has come?
    stage.expectEachGivenBack(point.callback == "releaseDevice" ? 2 : 1);
    if (stage.host.discoverer)
        stage.expectNextPhonesWork();
    stage.end();
    return left <= 0;
}

/** What the process holds between two points; the bus that is made anew leaves something of its own. */
const Resources& baseline() {
    const bool isAnotherBus = Bus::instance().tidy();
    static Resources baseline = Resources::atRest();
    if (isAnotherBus)
        baseline = Resources::atRest();
    return baseline;
}

bool check(const Point& point) {
    SCOPED_TRACE(point.scenario->name + ", " + point.callback + " throws at call " + std::to_string(point.n) +
                 (point.what == Thrown::Exception ? " an exception" : " a number"));
    const Resources expected = baseline();
    const bool reached = play(point);
    Bus::instance().plugAll();
    EXPECT_EQ(Resources::atRest(expected), expected);
    return reached;
}

/** How often the scenario calls each callback when none throws. */
std::map<std::string, int> callsIn(const Scenario& scenario) {
    Stage stage(Loaded::plugin().initialize());
    scenario.prepare(stage);
    std::map<std::string, int> calls;
    stage.host.onEvery = [&](const char* callback) { ++calls[callback]; };
    scenario.run(stage);
    stage.host.onEvery = nullptr;
    stage.end();
    return calls;
}

/** On a slow machine (an emulated one) only every n-th point is played; the figures say so. */
int stride() {
    const char* text = std::getenv("ZEB_SWEEP_STRIDE");
    return text ? std::max(1, std::atoi(text)) : 1;
}

class EveryThrowingCallback : public testing::TestWithParam<Scenario> {};

TEST_P(EveryThrowingCallback, LeavesNothingBehindAndTheNextPhonesWork) {
    const Scenario& scenario = GetParam();
    int points = 0;
    const std::map<std::string, int> calls = callsIn(scenario);
    for (const auto& [callback, count] : calls) {
        for (const Thrown what : {Thrown::Exception, Thrown::Number}) {
            // The last resort's lines are not looked at: a number's are many.
            StandardErrorCapture standardError;
            for (int n = 1; check({&scenario, callback, n, what}); n += stride())
                ++points;
        }
    }

    EXPECT_GE(points, static_cast<int>(calls.size()));
    std::cout << "swept " << points << " points (every " << stride() << ".) of: " << scenario.name
              << std::endl;
}

std::string nameOf(const TestParamInfo<Scenario>& scenario) {
    std::string name = scenario.param.name;
    std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, EveryThrowingCallback, ValuesIn(scenarios()), nameOf);

} // namespace
} // namespace zebtest
