// The format of configurations: lines of `key=value` or `key:value`, and comments that begin with
// "#". There is no quoting, escaping or continuation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "settings/share/FileName.h"
#include "settings/share/IConfigParser.h"

namespace settings_impl {

class PlainTextFileConfigParser : public IConfigParser {
public:
    /// The line and the byte of its first non-blank character; both counted from 0.
    class Cursor : public IParserCursor {
    public:
        Cursor(std::uint32_t lineNumber, std::uint32_t charNumber)
            : line(lineNumber), character(charNumber) {}

        std::uint32_t line;
        std::uint32_t character;
    };

    /// The source of the text.
    class IBuffer {
    public:
        virtual ~IBuffer() = default;
        /// Stores the text in `text`. Throws settings::Exception.
        virtual void read(std::string& text) = 0;
    };

    /// Without a buffer the text is empty.
    explicit PlainTextFileConfigParser(std::unique_ptr<IBuffer> buffer)
        : buffer_(std::move(buffer)) {}

    void setValidator(const ConfigValidator* validator) override { validator_ = validator; }
    void setKeyMapper(const KeyMapper* keyMapper) override { keyMapper_ = keyMapper; }
    void setErrorListener(IParserErrorListener* listener) override { listener_ = listener; }
    void setStopOnError(bool stop) override { stopOnError_ = stop; }
    void setAllowKeyWithoutValue(bool allow) override { allowKeyWithoutValue_ = allow; }
    std::unique_ptr<IConfig> parse() override;

private:
    void parseLines(const std::string& text, IConfigParserCallback& callback) const;
    bool parseGuarded(const std::string& line, std::uint32_t number,
                      IConfigParserCallback& callback) const;
    bool parseLine(const std::string& line, std::uint32_t number,
                   IConfigParserCallback& callback) const;

    const ConfigValidator* validator_ = nullptr;
    const KeyMapper* keyMapper_ = nullptr;
    IParserErrorListener* listener_ = nullptr;
    bool stopOnError_ = false;
    bool allowKeyWithoutValue_ = false;
    std::unique_ptr<IBuffer> buffer_;
};

/// Reads a file by `readConfigFile`, with its statuses.
class FileBuffer : public PlainTextFileConfigParser::IBuffer {
public:
    /// The name must be canonical.
    explicit FileBuffer(const FileName& fileName) : fileName_(fileName) {}
    void read(std::string& text) override;

private:
    FileName fileName_;
};

/// A string of any length. Status 314 if it is not valid UTF-8.
class StringBuffer : public PlainTextFileConfigParser::IBuffer {
public:
    explicit StringBuffer(const char* text) : text_(text) {}
    void read(std::string& text) override;

private:
    std::string text_;
};

}  // namespace settings_impl
