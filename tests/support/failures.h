// What the library's exception says.
#pragma once

#include <string>

#include "qlip/SimpleException.h"

namespace qlip_test {

// What an action failed with; empty when it did not.
template <class Action>
std::string message_of(Action action) {
    try {
        action();
    } catch (const SimpleException& failure) {
        return failure.m_message;
    }
    return {};
}

}  // namespace qlip_test
