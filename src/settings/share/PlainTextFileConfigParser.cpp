#include "settings/share/PlainTextFileConfigParser.h"

#include "settings/share/Bytes.h"
#include "settings/share/ConfigBuilder.h"
#include "settings/share/ConfigFile.h"
#include "settings/share/ExceptionCode.h"
#include "settings/share/ParserErrorCounter.h"

namespace settings_impl {

namespace {

constexpr const char* kBlanks = " \t";
constexpr char kCommentIntroducer = '#';
constexpr const char* kSeparators = "=:";
constexpr const char* kLineEnds = "\r\n";

std::string describeLocation(const IParserCursor& cursor) {
    const auto& position = static_cast<const PlainTextFileConfigParser::Cursor&>(cursor);
    return "line " + std::to_string(std::uint64_t{position.line} + 1) + "; char " +
           std::to_string(std::uint64_t{position.character} + 1);
}

std::string trimEnd(std::string text) {
    text.erase(text.find_last_not_of(kBlanks) + 1);
    return text;
}

std::string trim(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string::npos ? std::string() : trimEnd(text.substr(begin));
}

}  // namespace

void FileBuffer::read(std::string& text) {
    text = readConfigFile(fileName_);
}

void StringBuffer::read(std::string& text) {
    if (!isUtf8(text_)) {
        fail(settings::kTextNotUtf8);
    }
    text = text_;
}

std::unique_ptr<IConfig> PlainTextFileConfigParser::parse() {
    std::string text;
    if (buffer_) {
        buffer_->read(text);
    }
    ParserErrorCounter errors(listener_);
    ConfigBuilder builder(describeLocation, validator_, keyMapper_, &errors);
    parseLines(text, builder);
    return errors.count() == 0 || !stopOnError_ ? builder.build() : nullptr;
}

void PlainTextFileConfigParser::parseLines(const std::string& text,
                                           IConfigParserCallback& callback) const {
    std::size_t position = 0;
    for (std::uint32_t number = 0;; ++number) {
        const std::size_t end = text.find_first_of(kLineEnds, position);
        const std::string line = text.substr(position, end - position);
        if (!parseGuarded(line, number, callback) && stopOnError_) {
            return;
        }
        if (end == std::string::npos) {
            return;
        }
        position = text.compare(end, 2, "\r\n") == 0 ? end + 2 : end + 1;
    }
}

/// Skips a line at which the error listener throws, unless errors stop the parser.
bool PlainTextFileConfigParser::parseGuarded(const std::string& line, std::uint32_t number,
                                             IConfigParserCallback& callback) const {
    try {
        return parseLine(line, number, callback);
    } catch (const settings::Exception&) {
        if (stopOnError_) {
            throw;
        }
        return false;
    }
}

/// Returns whether the line is accepted.
bool PlainTextFileConfigParser::parseLine(const std::string& line, std::uint32_t number,
                                          IConfigParserCallback& callback) const {
    const std::size_t start = line.find_first_not_of(kBlanks);
    if (start == std::string::npos) {
        return true;
    }
    const Cursor cursor(number, static_cast<std::uint32_t>(start));
    const auto fail = [&](ParserEvent event) {
        callback.onError(cursor, event);
        return false;
    };
    if (line[start] == kCommentIntroducer) {
        return callback.onComment(cursor, line.c_str() + start) ||
               fail(ParserEvent::InvalidComment);
    }
    const std::size_t separator = line.find_first_of(kSeparators, start);
    if (separator == std::string::npos) {
        if (!allowKeyWithoutValue_) {
            return fail(ParserEvent::KeyWithoutValue);
        }
        callback.onEntry(cursor, trimEnd(line.substr(start)).c_str(), nullptr);
        return true;
    }
    const std::string key = trimEnd(line.substr(start, separator - start));
    if (key.empty()) {
        return fail(ParserEvent::EmptyKey);
    }
    const std::string value = trim(line.substr(separator + 1));
    const ParserEvent event = callback.onEntry(cursor, key.c_str(), value.c_str());
    return event == ParserEvent::Accepted || fail(event);
}

}  // namespace settings_impl
