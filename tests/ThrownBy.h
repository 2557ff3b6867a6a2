#pragma once

#include "core/Exception.h"

#include <string>

/// The text of the exception that `action` throws, behind "input error: " where it is of that kind;
/// "nothing" when it throws none.
template <typename Action>
std::string thrownBy(Action action) {
    try {
        action();
    } catch (const Exception& error) {
        return (error.type == kInputError ? "input error: " : "") + error.message;
    }
    return "nothing";
}
