#include "settings/share/ConfigValue.h"

#include <stdexcept>

#include "settings/share/Bytes.h"
#include "settings/share/ExceptionCode.h"
#include "settings/share/NumberText.h"

namespace settings_impl {

ConfigValue::ConfigValue(ValueType type, const char* text) : type_(type), number_{}, text_(text) {
    if (!isUtf8(text_)) {
        fail<settings::kBadValue>();
    }
    switch (type) {
        case ValueType::Raw:
        case ValueType::String:
            return;
        case ValueType::Integer:
            number_.integer = textToInt(text_);
            return;
        case ValueType::Boolean:
            number_.boolean = textToBool(text_);
            return;
        case ValueType::Double:
            number_.real = textToDouble(text_);
            return;
    }
    throw std::runtime_error("unexpected");
}

ConfigValue ConfigValue::ofInteger(std::int32_t number, const char* text) {
    return {ValueType::Integer, Number{.integer = number}, text ? text : numberToText(number)};
}

ConfigValue ConfigValue::ofBoolean(bool flag, const char* text) {
    return {ValueType::Boolean, Number{.boolean = flag}, text ? text : boolToText(flag)};
}

ConfigValue ConfigValue::ofDouble(double number, const char* text) {
    return {ValueType::Double, Number{.real = number}, text ? text : numberToText(number)};
}

}  // namespace settings_impl
