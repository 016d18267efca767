#pragma once

#include <CLI/CLI.hpp>

namespace zebhost {

// What the text given to an option must be. What is wrong with it is said in words of this program's.

/** Not empty; what: what an empty text is none of, "path". */
CLI::Validator notEmpty(const char* what);

/** A number of seconds from 0 to 1000000000, fractions too. */
CLI::Validator seconds();

/** A whole number from 0 to highest. */
CLI::Validator wholeNumber(unsigned highest);

/** The name of a level of the log; becomes the level. */
CLI::Validator logLevel();

CLI::Validator existingFolder();

} // namespace zebhost
