#include "settings/share/ConfigBuilder.h"

#include <utility>

#include "settings/share/ConfigValidator.h"
#include "settings/share/KeyMapper.h"

namespace settings_impl {

namespace {

const char* describe(ParserEvent event) {
    switch (event) {
        case ParserEvent::KeyWithoutValue:
            return "Key without value";
        case ParserEvent::EmptyKey:
            return "Empty key";
        case ParserEvent::InvalidKey:
            return "Invalid key";
        case ParserEvent::InvalidValue:
            return "Invalid value";
        case ParserEvent::InvalidComment:
            return "Invalid comment";
        default:
            return "Unknown error";
    }
}

}  // namespace

bool ConfigBuilder::onComment(const IParserCursor&, const char*) {
    return true;
}

ParserEvent ConfigBuilder::onEntry(const IParserCursor&, const char* key, const char* value) {
    std::string mappedKey = keyMapper_ ? keyMapper_->map(key) : key;
    std::unique_ptr<ConfigValue> stored;
    try {
        if (value) {
            stored = validator_ ? validator_->validate(mappedKey, value)
                                : std::make_unique<ConfigValue>(ValueType::Raw, value);
        }
    } catch (const ConfigValidator::InavlidKeyError&) {
        return ParserEvent::InvalidKey;
    } catch (const ConfigValidator::InavlidValueError&) {
        return ParserEvent::InvalidValue;
    } catch (const settings::Exception&) {
        return ParserEvent::InvalidValue;
    }
    values_.insert_or_assign(std::move(mappedKey), std::move(stored));
    return ParserEvent::Accepted;
}

void ConfigBuilder::onError(const IParserCursor& cursor, ParserEvent event) {
    const std::string message = std::string("\"") + describe(event) + "\" at " + location_(cursor);
    if (listener_) {
        listener_->onError(cursor, message);
    }
}

std::unique_ptr<IConfig> ConfigBuilder::build() {
    return makeConfig(std::exchange(values_, {}));
}

}  // namespace settings_impl
