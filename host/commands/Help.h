#pragma once

namespace zebhost::help {

// What --help says beside the options. Each command teaches by example.

extern const char kAbout[];
extern const char kCommands[];
extern const char kRun[];
extern const char kList[];
extern const char kExplain[];
extern const char kDoctor[];
extern const char kPhones[];
extern const char kDemo[];
extern const char kVersion[];
extern const char kReport[];

} // namespace zebhost::help
