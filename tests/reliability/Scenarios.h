#pragma once

#include "tests/reliability/Stage.h"

#include <functional>
#include <string>
#include <vector>

namespace zebtest {

/** A piece of a host's life, during which calls fail. */
struct Scenario {
    std::string name;
    /** What comes before, with nothing failing. */
    std::function<void(Stage&)> prepare;
    std::function<void(Stage&)> run;
};

/** Load and set up; each kind of phone; fetch and post; unplug in each state; stop; destroy. */
std::vector<Scenario> scenarios();

} // namespace zebtest
