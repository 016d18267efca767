// For each scenario the n-th call of each function that the plug-in (or libusb below it) uses fails, for
// n = 1, 2, ... until the scenario passes with nothing left to fail.
#include "tests/reliability/Bus.h"
#include "tests/reliability/Faults.h"
#include "tests/reliability/Loaded.h"
#include "tests/reliability/Resources.h"
#include "tests/reliability/Scenarios.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <map>

using namespace testing;

namespace zebtest {
namespace {

constexpr char kHostString[] = "the host's allocString";

/** What the host's log must say when a call of a function has failed; nothing for functions whose failure
 *  is met without a word or shows in several ways. */
const std::map<std::string, const char*> kLogged = {
    {"pipe", "Unable to create the pipe needed by eventFd: 24 (error 24)"},
    {"socket", "Socket returned error 24: Too many open files"},
    {"ioctl", "ioctl(SIOCGIFCONF) returned error 5: Input/output error"},
    {"libusb_init", "Failed to initialise libusb with error -11"},
    {"libusb_alloc_transfer", "Failed to allocate USB transfer object"},
    {"libusb_open", "Failed to open USB device with error -3"},
    {"libusb_submit_transfer", "Submission of control transfer failed, error -1"},
};

struct Point {
    const Scenario* scenario;
    std::string function;
    int n;
};

void arm(Stage& stage, const Point& point) {
    if (point.function == kHostString)
        stage.host.failAllocationAt = point.n;
    else
        Faults::arm(point.function, point.n);
}

/** Has the call that was to fail been made? */
bool disarm(Stage& stage, const Point& point) {
    const bool fired = point.function == kHostString ? stage.host.failAllocationAt == 0 : Faults::hasFired();
    stage.host.failAllocationAt = 0;
    Faults::disarm();
    return fired;
}

void expectLogged(const Stage& stage, const Point& point) {
    const auto wanted = kLogged.find(point.function);
    if (wanted == kLogged.end())
        return;
    EXPECT_TRUE(stage.host.hasLogged(ZEBDiscoveryLogSeverityError, wanted->second))
        << PrintToString(stage.host.logLines());
}

/** One point; says whether it was reached. */
bool play(const Point& point) {
    Stage stage(Loaded::plugin().initialize());
    point.scenario->prepare(stage);
    arm(stage, point);
    point.scenario->run(stage);
    const bool fired = disarm(stage, point);
    if (fired)
        expectLogged(stage, point);
    if (stage.host.discoverer)
        stage.expectNextPhonesWork();
    stage.end();
    return fired;
}

/** On a slow machine (an emulated one) only every n-th point is played; the figures say so. */
int stride() {
    const char* text = std::getenv("ZEB_SWEEP_STRIDE");
    return text ? std::max(1, std::atoi(text)) : 1;
}

/** What the process holds between two points; the bus that is made anew leaves something of its own. */
Resources& baseline() {
    const bool isAnotherBus = Bus::instance().tidy();
    static Resources baseline = Resources::atRest();
    if (isAnotherBus)
        baseline = Resources::atRest();
    return baseline;
}

/** libusb 1.0.26 itself loses memory and descriptors where its own calls fail: reported, not failed. */
bool isLibUsbs(const std::string& function) { return function.starts_with("libusb: "); }

/** One point with all its checks; says whether it was reached. */
bool check(const Point& point, int& leaksOfLibUsb) {
    SCOPED_TRACE(point.scenario->name + ", " + point.function + " fails at call " + std::to_string(point.n));
    Resources& expected = baseline();
    const bool fired = play(point);
    // The one leak that is there on purpose: a socket for each failed ioctl.
    expected.descriptors += point.function == "ioctl" && fired ? 1 : 0;
    Bus::instance().plugAll();
    if (!isLibUsbs(point.function)) {
        EXPECT_EQ(Resources::atRest(expected), expected);
    } else if (const Resources left = Resources::atRest(); left != expected) {
        ++leaksOfLibUsb;
        expected = left;
    }
    return fired;
}

/** All points of one function in one scenario; returns how many there were. */
int sweep(const Scenario& scenario, const std::string& function, int& leaksOfLibUsb) {
    int points = 0;
    for (int n = 1; check({&scenario, function, n}, leaksOfLibUsb); n += stride())
        ++points;
    return points;
}

class EveryFailurePoint : public testing::TestWithParam<Scenario> {};

/** The functions that a scenario calls when nothing fails. */
std::vector<std::string> calledIn(const Scenario& scenario) {
    Stage stage(Loaded::plugin().initialize());
    scenario.prepare(stage);
    Faults::watch();
    scenario.run(stage);
    Faults::disarm();
    stage.end();
    std::vector<std::string> functions = Faults::seen();
    // A failing unlock ends the process, as Mutex.h says.
    std::erase(functions, "pthread_mutex_unlock");
    functions.push_back(kHostString);
    return functions;
}

TEST_P(EveryFailurePoint, LeavesNothingBehindAndTheNextPhonesWork) {
    const Scenario& scenario = GetParam();
    int points = 0;
    int leaksOfLibUsb = 0;
    std::string perFunction;
    for (const std::string& function : calledIn(scenario)) {
        const int swept = sweep(scenario, function, leaksOfLibUsb);
        perFunction += " " + function + " " + std::to_string(swept) + ";";
        points += swept;
    }

    EXPECT_EQ(Faults::closedInsideCallback(), 0);
    std::cout << "swept " << points << " points (every " << stride() << ".) of: " << scenario.name << ':'
              << perFunction;
    if (leaksOfLibUsb > 0)
        std::cout << " at " << leaksOfLibUsb << " of them libusb kept something for itself";
    std::cout << std::endl;
}

std::string testName(const TestParamInfo<Scenario>& scenario) {
    std::string name = scenario.param.name;
    std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
    return name;
}

INSTANTIATE_TEST_SUITE_P(Scenarios, EveryFailurePoint, ValuesIn(scenarios()), testName);

} // namespace
} // namespace zebtest
