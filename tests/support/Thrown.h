// What an action throws, as text.
#pragma once

#include <exception>
#include <string>

/// The message of the std::exception that the action throws, without the place in front,
/// "<file>(<line>) at <function>(): "; "nothing" if it throws none.
template <class Action>
std::string thrownText(Action action) {
    try {
        action();
    } catch (const std::exception& e) {
        const std::string message = e.what();
        const auto place = message.find("(): ");
        return place == message.npos ? message : message.substr(place + 4);
    }
    return "nothing";
}
