// How the text of a value reads as a number, and a number as text. A number is read as a C++ stream
// of the classic locale reads it, so what stands behind it is ignored.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace settings_impl {

/// "0x" begins hexadecimal digits and "0" octal ones: "010" is 8, "0x10" is 16, "12abc" is 12 and
/// "09" is 0. Throws ExceptionCode<302> if there is no number or it has more than 32 bits.
std::int32_t textToInt(std::string_view text);

/// Decimal only. Throws ExceptionCode<302> if there is no number or it is too large.
double textToDouble(std::string_view text);

/// "yes" and "true", "no" and "false" in any case, otherwise an integer that is not 0. Throws
/// ExceptionCode<302>.
bool textToBool(std::string_view text);

std::string numberToText(std::int32_t number);
std::string numberToText(double number);  ///< with 6 significant digits: "0.1", "1e+10"
std::string boolToText(bool flag);        ///< "true", "false"

}  // namespace settings_impl
