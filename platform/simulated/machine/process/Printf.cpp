// Formatting by the rules of Windows' printf family: wide for texts and numbers of 32 bits, narrow
// for texts and "%g". The machine doesn't count these functions as calls of Windows.
#include <windows.h>
#include <wchar.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "simulated/machine/Calls.h"
#include "simulated/machine/Names.h"

using namespace simulated;

namespace {

/// The text that a format makes, as far as it fits into the caller's buffer. What doesn't fit isn't
/// even read: a caller may try again and again with a larger buffer.
template <class Char>
class Output {
public:
    using View = std::basic_string_view<Char>;

    Output(Char* buffer, std::size_t size) : buffer_(buffer), size_(size) {}

    bool isCut() const { return isCut_; }

    void append(View text) {
        const std::size_t fitting = std::min(text.size(), size_ - length_);
        text.copy(buffer_ + length_, fitting);
        length_ += fitting;
        isCut_ = isCut_ || fitting < text.size();
    }

    /// Appends a text up to its NUL.
    void appendTerminated(const Char* text) {
        std::size_t length = 0;
        while (length < size_ - length_ && text[length] != Char()) {
            ++length;
        }
        append(View(text, length));
        isCut_ = isCut_ || text[length] != Char();
    }

    /// Writes a NUL if there is space for one. Returns the length, or -1 if the text is cut.
    int finish() {
        if (length_ < size_) {
            buffer_[length_] = Char();
        }
        return isCut_ ? -1 : static_cast<int>(length_);
    }

private:
    Char* buffer_;
    std::size_t size_;
    std::size_t length_ = 0;
    bool isCut_ = false;
};

/// A number in a wide format: "%", zeros or blanks to a width, and the letter.
std::u16string convertNumber(const std::string& conversion, std::va_list& arguments, char16_t) {
    const char letter = conversion.back();
    const bool isNumber = letter == 'd' || letter == 'u' || letter == 'X';
    if (!isNumber || conversion.find_first_not_of("0123456789", 1) != conversion.size() - 1) {
        notSupported("_vsnwprintf", "the conversion " + conversion);
    }
    char number[64];
    const int length =
        std::snprintf(number, sizeof(number), conversion.c_str(), va_arg(arguments, unsigned));
    return fromUtf8({number, static_cast<std::size_t>(length)});
}

/// A number in a narrow format: "%g" with an exponent of three digits, as msvcrt.dll writes it.
std::string convertNumber(const std::string& conversion, std::va_list& arguments, char) {
    if (conversion != "%g") {
        notSupported("_snprintf", "the conversion " + conversion);
    }
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%g", va_arg(arguments, double));
    std::string number = buffer;
    const std::size_t exponent = number.find('e');
    if (exponent != std::string::npos && number.size() - exponent == 4) {
        number.insert(exponent + 2, 1, '0');
    }
    return number;
}

template <class Char>
void appendConversion(const std::string& conversion, std::va_list& arguments,
                      Output<Char>& output) {
    constexpr Char kPercent[] = {'%', 0};
    constexpr Char kNull[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
    if (conversion == "%%") {
        output.append(kPercent);
    } else if (conversion == "%s") {
        const Char* const text = va_arg(arguments, const Char*);
        output.appendTerminated(text == nullptr ? kNull : text);
    } else {
        output.append(convertNumber(conversion, arguments, Char()));
    }
}

/// Formats into a buffer. Returns the length of the text, or -1 if it doesn't fit.
template <class Char>
int print(const char* function, Char* buffer, std::size_t size, std::basic_string_view<Char> rest,
          std::va_list& arguments) {
    if (buffer == nullptr) {
        notSupported(function, "a null buffer");
    }
    const auto isDigit = [](Char c) { return c >= '0' && c <= '9'; };
    Output<Char> output(buffer, size);
    while (!output.isCut()) {
        const std::size_t plain = std::min(rest.find(Char{'%'}), rest.size());
        output.append(rest.substr(0, plain));
        rest.remove_prefix(plain);
        if (rest.empty()) {
            break;
        }
        const auto letter = std::find_if_not(rest.begin() + 1, rest.end(), isDigit);
        const std::string conversion(rest.begin(), letter == rest.end() ? letter : letter + 1);
        appendConversion(conversion, arguments, output);
        rest.remove_prefix(conversion.size());
    }
    return output.finish();
}

}  // namespace

extern "C" int _vsnwprintf(char16_t* buffer, std::size_t size, const char16_t* format,
                           std::va_list given) {
    std::va_list arguments;
    va_copy(arguments, given);
    const int length =
        print("_vsnwprintf", buffer, size, std::u16string_view(argument(format)), arguments);
    va_end(arguments);
    return length;
}

extern "C" int _snprintf(char* buffer, size_t count, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print("_snprintf", buffer, count, std::string_view(format), arguments);
    va_end(arguments);
    return length;
}
