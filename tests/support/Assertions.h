#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

/** The statement stops the process with the assertion text as quoted, naming the file relative to the
 *  tree, a line and the function. */
#define EXPECT_ASSERTION(statement, file, condition)                                                         \
    EXPECT_DEATH(statement,                                                                                  \
                 ::testing::AllOf(::testing::ContainsRegex(": " file ":[0-9]+: .*\\(.*\\)( const)?: "),      \
                                  ::testing::HasSubstr("Assertion `" condition "' failed.")))
