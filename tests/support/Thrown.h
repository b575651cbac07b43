// What an action throws, as text.
#pragma once

#include <exception>
#include <string>

/// The message of the std::exception that the action throws, with its place in front; "nothing" if
/// it throws none.
template <class Action>
std::string thrownBy(Action action) {
    try {
        action();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing";
}

/// The same without "<file>(<line>) at <function>(): ".
template <class Action>
std::string thrownText(Action action) {
    const std::string message = thrownBy(action);
    const auto place = message.find("(): ");
    return place == std::string::npos ? message : message.substr(place + 4);
}
