// Converts the string of a value to a number and back. A number is read as a C++ stream of the
// classic locale reads it: characters after it are ignored.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace settings_impl {

/// "0x" starts hexadecimal and "0" octal digits: "010" is 8, "0x10" is 16, "12abc" is 12 and "09"
/// is 0. Throws ExceptionCode<302> if there is no number or it exceeds 32 bits.
std::int32_t textToInt(std::string_view text);

/// Decimal only. Throws ExceptionCode<302> if there is no number or it is too large.
double textToDouble(std::string_view text);

/// "yes" and "true" are true, "no" and "false" are false in any case; otherwise an integer, true
/// unless it is 0. Throws ExceptionCode<302>.
bool textToBool(std::string_view text);

std::string numberToText(std::int32_t number);
std::string numberToText(double number);  ///< with 6 significant digits: "0.1", "1e+10"
std::string boolToText(bool flag);        ///< "true", "false"

}  // namespace settings_impl
