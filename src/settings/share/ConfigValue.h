// One stored value of a configuration: a type, the number of the typed ones, and the text.
#pragma once

#include <cstdint>
#include <string>

namespace settings_impl {

enum class ValueType : std::uint32_t {
    Raw = 100,  ///< typed reads convert the text on each read
    String = 101,
    Integer = 102,
    Boolean = 103,
    Double = 104,
};

class ConfigValue {
public:
    /// Converts the text to the type. Throws ExceptionCode<302> if it is no UTF-8 or reads as no
    /// number, std::runtime_error for a type that doesn't exist.
    ConfigValue(ValueType type, const char* text);

    /// A number with its text; without one (null), the text is the number's own.
    static ConfigValue ofInteger(std::int32_t number, const char* text);
    static ConfigValue ofBoolean(bool flag, const char* text);
    static ConfigValue ofDouble(double number, const char* text);

    ValueType type() const { return type_; }
    const std::string& text() const { return text_; }
    std::int32_t integer() const { return number_.integer; }  ///< of an Integer
    bool boolean() const { return number_.boolean; }          ///< of a Boolean
    double real() const { return number_.real; }              ///< of a Double

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
