// Builds a configuration from the events of a parser.
#pragma once

#include "settings/share/Config.h"
#include "settings/share/IConfigParser.h"

namespace settings_impl {

class ConfigBuilder : public IConfigParserCallback {
public:
    /// The text of a position, for error messages.
    using LocationFunction = std::string (*)(const IParserCursor& cursor);

    /// Nothing is owned; validator, key mapper and listener may be null.
    ConfigBuilder(LocationFunction location, const ConfigValidator* validator,
                  const KeyMapper* keyMapper, IParserErrorListener* listener)
        : location_(location), validator_(validator), keyMapper_(keyMapper), listener_(listener) {}

    bool onComment(const IParserCursor& cursor, const char* text) override;
    /// Stores the entry under its mapped key, over an earlier one. A key without a value is not
    /// validated.
    ParserEvent onEntry(const IParserCursor& cursor, const char* key, const char* value) override;
    /// Tells the listener in words.
    void onError(const IParserCursor& cursor, ParserEvent event) override;

    /// What was collected; the builder is empty afterwards.
    std::unique_ptr<IConfig> build();

private:
    LocationFunction location_;
    const ConfigValidator* validator_;
    const KeyMapper* keyMapper_;
    IParserErrorListener* listener_;
    ConfigMap values_;
};

}  // namespace settings_impl
