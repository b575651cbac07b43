// Builds a configuration from the events of a parser.
#pragma once

#include "settings/share/Config.h"
#include "settings/share/IConfigParser.h"

namespace settings_impl {

class ConfigBuilder : public IConfigParserCallback {
public:
    /// Formats a position for error messages.
    using LocationFunction = std::string (*)(const IParserCursor& cursor);

    /// The arguments are not owned; validator, key mapper and listener may be null.
    ConfigBuilder(LocationFunction location, const ConfigValidator* validator,
                  const KeyMapper* keyMapper, IParserErrorListener* listener)
        : location_(location), validator_(validator), keyMapper_(keyMapper), listener_(listener) {}

    bool onComment(const IParserCursor& cursor, const char* text) override;
    /// Stores the entry under its mapped key, replacing an earlier one. A key without a value is
    /// not validated.
    ParserEvent onEntry(const IParserCursor& cursor, const char* key, const char* value) override;
    /// Reports the error to the listener as a message.
    void onError(const IParserCursor& cursor, ParserEvent event) override;

    /// Returns the collected configuration and leaves the builder empty.
    std::unique_ptr<IConfig> build();

private:
    LocationFunction location_;
    const ConfigValidator* validator_;
    const KeyMapper* keyMapper_;
    IParserErrorListener* listener_;
    ConfigMap values_;
};

}  // namespace settings_impl
