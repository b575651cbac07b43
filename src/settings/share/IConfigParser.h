// The interfaces between a parser of configurations, its callback and its error listener.
#pragma once

#include <memory>
#include <string>

#include "settings/share/IConfig.h"
#include "settings/share/SettingsException.h"

namespace settings_impl {

class ConfigValidator;
class KeyMapper;

/// What a parser's callback returns for an entry, and what a parser reports about a bad line.
enum class ParserEvent : settings::Status {
    Accepted = 300,
    KeyWithoutValue = 301,
    EmptyKey = 302,
    InvalidKey = 303,
    InvalidValue = 304,
    InvalidComment = 305,
};

/// A position in the parsed text, valid only during the call that it is passed to.
class IParserCursor {
public:
    virtual ~IParserCursor() = default;
};

class IParserErrorListener {
public:
    virtual ~IParserErrorListener() = default;
    virtual void onError(const IParserCursor& cursor, const std::string& message) = 0;
};

class IConfigParserCallback {
public:
    virtual ~IConfigParserCallback() = default;
    /// Returning false refuses the comment.
    virtual bool onComment(const IParserCursor& cursor, const char* text) = 0;
    /// `value` is null for a key without a value.
    virtual ParserEvent onEntry(const IParserCursor& cursor, const char* key,
                                const char* value) = 0;
    virtual void onError(const IParserCursor& cursor, ParserEvent event) = 0;
};

class IConfigParser {
public:
    virtual ~IConfigParser() = default;
    /// The arguments are not owned and must outlive `parse`. The first two may be null.
    virtual void setValidator(const ConfigValidator* validator) = 0;
    virtual void setKeyMapper(const KeyMapper* keyMapper) = 0;
    virtual void setErrorListener(IParserErrorListener* listener) = 0;
    virtual void setStopOnError(bool stop) = 0;
    virtual void setAllowKeyWithoutValue(bool allow) = 0;
    /// Returns the parsed configuration, or null if the parser stops on errors and found one.
    /// Throws settings::Exception if the text can't be read, and whatever the listener throws.
    virtual std::unique_ptr<IConfig> parse() = 0;
};

}  // namespace settings_impl
