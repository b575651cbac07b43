// The settings library as a client uses it: a table of entry points and owners of its handles.
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "settings/share/settings.h"

inline const settings_api api = [] {
    settings_api table;
    getSettingsApi(&table);
    return table;
}();

using Validator = std::shared_ptr<settings_validator>;
using Mapper = std::shared_ptr<settings_key_mapper>;

/// What Context::read returns for the statuses of a failed read.
inline const std::string kNoFit = "status 301";
inline const std::string kBad = "status 302";
inline const std::string kNoKey = "status 303";

/// Options of a load.
struct Load {
    settings_validator* validator = nullptr;
    settings_key_mapper* keyMapper = nullptr;
    bool stopOnError = true;
    bool bareKeys = false;
};

class Context {
public:
    Context() = default;
    explicit Context(const std::string& text) { load(text, {.bareKeys = true}); }

    settings::Status load(const std::string& text, const Load& options = {}) {
        return api.loadText(get(), text.c_str(), options.validator, options.keyMapper,
                            options.stopOnError, options.bareKeys);
    }
    settings::Status loadFile(const std::string& path, const Load& options = {}) {
        return api.loadFile(get(), path.c_str(), options.validator, options.keyMapper,
                            options.stopOnError, options.bareKeys);
    }
    settings_context* get() const { return handle.get(); }

    /// Returns every key in order: "a=1|b|c=".
    std::string dump() const {
        std::string result;
        const auto add = [](settings_context* context, std::uint32_t count, std::uint32_t index,
                            const char* key, void* out) {
            const char* value = nullptr;
            const bool has = api.getString(context, key, &value) == settings::kSuccess;
            *static_cast<std::string*>(out) +=
                key + (has ? std::string("=") + value : "") + (index + 1 < count ? "|" : "");
        };
        api.forEachKey(get(), add, &result);
        return result;
    }

    /// Returns what an entry reads: "12" for a number, "status 303" for a failure.
    template <class Value>
    std::string read(settings::Status (*entry)(settings_context*, const char*, Value*),
                     const char* key) const {
        Value value = {};
        const settings::Status status = entry(get(), key, &value);
        if (status != settings::kSuccess) {
            return "status " + std::to_string(status);
        }
        std::ostringstream text;
        text << value;
        return text.str();
    }

    std::vector<int> errors() const {
        const std::int32_t* lines = nullptr;
        std::uint32_t count = 7;
        api.getErrors(get(), &lines, &count);
        return {lines, lines + count};
    }

private:
    std::shared_ptr<settings_context> handle{api.create(), api.destroy};
};

/// Builds a validator or key mapper; `fill` is called with its builder.
template <class Fill>
Validator makeValidator(Fill fill) {
    settings_validator_builder* const builder = api.createValidatorBuilder();
    fill(builder);
    settings_validator* validator = nullptr;
    api.buildValidator(builder, &validator);
    api.destroyValidatorBuilder(builder);
    return {validator, api.destroyValidator};
}

template <class Fill>
Mapper makeMapper(Fill fill) {
    settings_key_mapper_builder* builder = api.createKeyMapperBuilder();
    fill(builder);
    settings_key_mapper* mapper = nullptr;
    api.buildKeyMapper(builder, &mapper);
    api.destroyKeyMapperBuilder(builder);
    return {mapper, api.destroyKeyMapper};
}
