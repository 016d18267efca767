#pragma once

/**
 * Open a private member to the tests of a file, as object.*OPENED(Class, member): what is instantiated
 * explicitly may name it.
 */
#define OPEN(Class, member)                                                                                  \
    struct Class##_##member {                                                                                \
        friend auto opened(Class##_##member);                                                                \
    };                                                                                                       \
    template <auto pMember>                                                                                  \
    struct Opens_##Class##_##member {                                                                        \
        friend auto opened(Class##_##member) { return pMember; }                                             \
    };                                                                                                       \
    template struct Opens_##Class##_##member<&Class::member>

#define OPENED(Class, member) opened(Class##_##member())
