#pragma once

#include "common/DiscoveryException.h"

#include <exception>
#include <string>
#include <typeindex>

/** An exception's own class, text, and code where it has one. */
struct Thrown {
    std::type_index type = typeid(void);
    std::string text;
    int code = 0;
};

template <class Action>
Thrown thrownBy(Action action) {
    try {
        action();
    } catch (const zebdiscovery::DiscoveryException& e) {
        return {typeid(e), e.what(), e.error()};
    } catch (const std::exception& e) {
        return {typeid(e), e.what(), 0};
    }
    return {};
}
