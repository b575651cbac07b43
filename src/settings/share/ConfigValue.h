// One value of a configuration: its type, the number of a typed value, and the string.
#pragma once

#include <cstdint>
#include <string>

namespace settings_impl {

enum class ValueType : std::uint32_t {
    Raw = 100,  ///< typed reads convert the string each time
    String = 101,
    Integer = 102,
    Boolean = 103,
    Double = 104,
};

class ConfigValue {
public:
    /// Converts the string to the type. Throws ExceptionCode<302> if it is not valid UTF-8 or not a
    /// number of that type, std::runtime_error for an unknown type.
    ConfigValue(ValueType type, const char* text);

    /// Returns a number with its string; if `text` is null the string is the number in decimal.
    static ConfigValue ofInteger(std::int32_t number, const char* text);
    static ConfigValue ofBoolean(bool flag, const char* text);
    static ConfigValue ofDouble(double number, const char* text);

    ValueType type() const { return type_; }
    const std::string& text() const { return text_; }
    std::int32_t integer() const { return number_.integer; }  ///< valid for an Integer
    bool boolean() const { return number_.boolean; }          ///< valid for a Boolean
    double real() const { return number_.real; }              ///< valid for a Double

private:
    union Number {
        std::int32_t integer;
        double real;
        bool boolean;
    };

    ConfigValue(ValueType type, Number number, std::string text)
        : type_(type), number_(number), text_(std::move(text)) {}

    ValueType type_;
    Number number_;
    std::string text_;
};

}  // namespace settings_impl
