#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
} // namespace CLI

namespace zebhost {

/** What is wrong with a command line, in one sentence and where to read on; without "zebhost: ". */
std::string usageFault(const CLI::App& app, const CLI::ParseError& error);

} // namespace zebhost
