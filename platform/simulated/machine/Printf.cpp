// Formatting by the rules of Windows' wide printf family. It is no call of Windows' and passes no
// gate. Floating-point conversions are not simulated.
#include <windows.h>
#include <wchar.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "simulated/machine/Wide.h"

namespace {

enum class Size { Default, Char, Short, Long, LongLong };

struct Conversion {
    bool left = false;
    bool zero = false;
    bool plus = false;
    bool blank = false;
    bool alternative = false;
    int width = 0;
    int precision = -1;
    Size size = Size::Default;
    bool wide = false;  ///< the "w" of "%ws"
    char16_t type = 0;
};

/// Reads the arguments one after the other.
class Arguments {
public:
    explicit Arguments(std::va_list arguments) { va_copy(arguments_, arguments); }
    ~Arguments() { va_end(arguments_); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    template <class T>
    T next() {
        return va_arg(arguments_, T);
    }

private:
    std::va_list arguments_;
};

class FormatReader {
public:
    FormatReader(std::u16string_view format, Arguments& arguments)
        : format_(format), arguments_(arguments) {}

    bool atEnd() const { return format_.empty(); }
    char16_t take() {
        const char16_t c = format_.empty() ? u'\0' : format_.front();
        format_.remove_prefix(format_.empty() ? 0 : 1);
        return c;
    }

    Conversion takeConversion() {
        Conversion conversion;
        takeFlags(conversion);
        conversion.width = takeNumber();
        if (conversion.width < 0) {
            conversion.left = true;
            conversion.width = -conversion.width;
        }
        if (takeText(u".")) {
            conversion.precision = std::max(takeNumber(), -1);
        }
        takeSize(conversion);
        conversion.type = take();
        return conversion;
    }

private:
    bool takeText(std::u16string_view text) {
        const bool found = format_.starts_with(text);
        format_.remove_prefix(found ? text.size() : 0);
        return found;
    }

    void takeFlags(Conversion& conversion) {
        for (bool more = true; more;) {
            more = takeFlag(u"-", conversion.left) || takeFlag(u"0", conversion.zero) ||
                   takeFlag(u"+", conversion.plus) || takeFlag(u" ", conversion.blank) ||
                   takeFlag(u"#", conversion.alternative);
        }
    }

    bool takeFlag(std::u16string_view text, bool& flag) {
        const bool found = takeText(text);
        flag = flag || found;
        return found;
    }

    int takeNumber() {
        if (takeText(u"*")) {
            return arguments_.next<int>();
        }
        int number = 0;
        while (!format_.empty() && format_.front() >= u'0' && format_.front() <= u'9') {
            number = number * 10 + (take() - u'0');
        }
        return number;
    }

    void takeSize(Conversion& conversion) {
        const struct {
            std::u16string_view text;
            Size size;
        } kSizes[] = {{u"hh", Size::Char},    {u"h", Size::Short},      {u"ll", Size::LongLong},
                      {u"l", Size::Long},     {u"I64", Size::LongLong}, {u"I32", Size::Long},
                      {u"I", Size::LongLong}, {u"z", Size::LongLong},   {u"t", Size::LongLong},
                      {u"j", Size::LongLong}};
        for (const auto& size : kSizes) {
            if (takeText(size.text)) {
                conversion.size = size.size;
                return;
            }
        }
        conversion.wide = takeText(u"w");
    }

    std::u16string_view format_;
    Arguments& arguments_;
};

/// Pads a text to the width: behind it, or in front with blanks or zeros.
std::u16string padded(const Conversion& conversion, std::u16string_view prefix,
                      std::u16string_view text, bool zeros) {
    const std::size_t length = prefix.size() + text.size();
    const auto width = static_cast<std::size_t>(conversion.width);
    const std::size_t missing = width > length ? width - length : 0;
    std::u16string result;
    if (!conversion.left && !zeros) {
        result.append(missing, u' ');
    }
    result += prefix;
    if (!conversion.left && zeros) {
        result.append(missing, u'0');
    }
    result += text;
    if (conversion.left) {
        result.append(missing, u' ');
    }
    return result;
}

std::u16string digitsOf(std::uint64_t number, unsigned base, bool upper) {
    std::u16string digits;
    for (; number != 0; number /= base) {
        const auto digit = static_cast<char16_t>(number % base);
        const char16_t letter = upper ? u'A' : u'a';
        digits.insert(digits.begin(),
                      static_cast<char16_t>(digit < 10 ? u'0' + digit : letter + digit - 10));
    }
    return digits;
}

std::u16string formatInteger(const Conversion& conversion, std::uint64_t number, bool negative) {
    const char16_t type = conversion.type;
    const unsigned base = type == u'x' || type == u'X' ? 16 : type == u'o' ? 8 : 10;
    std::u16string digits = digitsOf(number, base, type == u'X');
    const int least = conversion.precision < 0 ? 1 : conversion.precision;
    if (static_cast<int>(digits.size()) < least) {
        digits.insert(0, static_cast<std::size_t>(least) - digits.size(), u'0');
    }
    std::u16string prefix;
    if (type == u'd' || type == u'i') {
        prefix = negative ? u"-" : conversion.plus ? u"+" : conversion.blank ? u" " : u"";
    } else if (conversion.alternative && base == 16 && number != 0) {
        prefix = type == u'x' ? u"0x" : u"0X";
    } else if (conversion.alternative && base == 8 && (digits.empty() || digits[0] != u'0')) {
        prefix = u"0";
    }
    return padded(conversion, prefix, digits, conversion.zero && conversion.precision < 0);
}

std::u16string formatSigned(const Conversion& conversion, Arguments& arguments) {
    std::int64_t number =
        conversion.size == Size::LongLong ? arguments.next<long long>() : arguments.next<int>();
    if (conversion.size == Size::Short) {
        number = static_cast<std::int16_t>(number);
    } else if (conversion.size == Size::Char) {
        number = static_cast<std::int8_t>(number);
    }
    const auto bits = static_cast<std::uint64_t>(number);
    return formatInteger(conversion, number < 0 ? ~bits + 1 : bits, number < 0);
}

std::u16string formatUnsigned(const Conversion& conversion, Arguments& arguments) {
    std::uint64_t number = conversion.size == Size::LongLong ? arguments.next<unsigned long long>()
                                                             : arguments.next<unsigned int>();
    if (conversion.size == Size::Short) {
        number &= 0xFFFF;
    } else if (conversion.size == Size::Char) {
        number &= 0xFF;
    }
    return formatInteger(conversion, number, false);
}

/// At most `precision` characters; the text need not be ended when it has that many.
template <class Character>
std::u16string readText(const Character* text, int precision) {
    if (text == nullptr) {
        return std::u16string(u"(null)").substr(
            0, precision < 0 ? std::u16string::npos : static_cast<std::size_t>(precision));
    }
    std::u16string result;
    while ((precision < 0 || static_cast<int>(result.size()) < precision) &&
           text[result.size()] != 0) {
        const Character c = text[result.size()];
        result += static_cast<char16_t>(sizeof(c) == 1 ? static_cast<unsigned char>(c) : c);
    }
    return result;
}

bool takesNarrow(const Conversion& conversion) {
    if (conversion.size == Size::Short) {
        return true;
    }
    const bool wide = conversion.wide || conversion.size == Size::Long;
    return !wide && (conversion.type == u'S' || conversion.type == u'C');
}

std::u16string formatOne(const Conversion& conversion, Arguments& arguments) {
    switch (conversion.type) {
        case u'd':
        case u'i':
            return formatSigned(conversion, arguments);
        case u'u':
        case u'o':
        case u'x':
        case u'X':
            return formatUnsigned(conversion, arguments);
        case u'p': {
            Conversion pointer = conversion;
            pointer.type = u'X';
            pointer.precision = sizeof(void*) * 2;
            return formatInteger(pointer, reinterpret_cast<std::uintptr_t>(arguments.next<void*>()),
                                 false);
        }
        case u'c':
        case u'C': {
            const int c = arguments.next<int>();
            const auto unit = takesNarrow(conversion) ? static_cast<char16_t>(c & 0xFF)
                                                      : static_cast<char16_t>(c);
            return padded(conversion, u"", std::u16string(1, unit), conversion.zero);
        }
        case u's':
        case u'S': {
            const std::u16string text =
                takesNarrow(conversion)
                    ? readText(arguments.next<const char*>(), conversion.precision)
                    : readText(arguments.next<const char16_t*>(), conversion.precision);
            return padded(conversion, u"", text, conversion.zero);
        }
        default:
            return std::u16string(conversion.type == 0 ? 0 : 1, conversion.type);
    }
}

}  // namespace

extern "C" int _vsnwprintf(char16_t* buffer, std::size_t size, const char16_t* format,
                           std::va_list arguments) {
    Arguments reader(arguments);
    FormatReader parser(format, reader);
    std::u16string result;
    while (!parser.atEnd()) {
        const char16_t c = parser.take();
        if (c == u'%') {
            result += formatOne(parser.takeConversion(), reader);
        } else {
            result += c;
        }
    }
    const std::size_t written = std::min(result.size(), size);
    result.copy(buffer, written);
    if (written < size) {
        buffer[written] = u'\0';
    }
    return written == result.size() ? static_cast<int>(written) : -1;
}

extern "C" int _snprintf(char* buffer, size_t count, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, count, format, arguments);
    va_end(arguments);
    return length >= 0 && static_cast<size_t>(length) >= count ? -1 : length;
}
