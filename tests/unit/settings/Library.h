// The settings library as a client holds it: the table beside each handle.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "settings/share/settings.h"

inline const settings_api api = [] {
    settings_api table;
    getSettingsApi(&table);
    return table;
}();

template <class Handle, void (*settings_api::*destroy)(Handle*)>
struct HandleDeleter {
    void operator()(Handle* handle) const { (api.*destroy)(handle); }
};

using ContextHandle =
    std::unique_ptr<settings_context, HandleDeleter<settings_context, &settings_api::destroy>>;
using Validator =
    std::unique_ptr<settings_validator,
                    HandleDeleter<settings_validator, &settings_api::destroyValidator>>;
using Mapper = std::unique_ptr<settings_key_mapper,
                               HandleDeleter<settings_key_mapper, &settings_api::destroyKeyMapper>>;

/// Options of a load.
struct Load {
    settings_validator* validator = nullptr;
    settings_key_mapper* keyMapper = nullptr;
    bool stopOnError = true;
    bool bareKeys = false;
};

/// A context whose reads give a status where there is no value.
class Context {
public:
    Context() : handle(api.create()) {}
    explicit Context(const std::string& text) : Context() { load(text, {.bareKeys = true}); }

    settings::Status load(const std::string& text, const Load& options = {}) {
        return api.loadText(handle.get(), text.c_str(), options.validator, options.keyMapper,
                            options.stopOnError, options.bareKeys);
    }
    settings::Status loadFile(const std::string& path, const Load& options = {}) {
        return api.loadFile(handle.get(), path.c_str(), options.validator, options.keyMapper,
                            options.stopOnError, options.bareKeys);
    }

    /// Every key in order: "a=1|b|c=".
    std::string dump() const {
        std::string result;
        const auto add = [](settings_context* context, std::uint32_t count, std::uint32_t index,
                            const char* key, void* out) {
            auto& text = *static_cast<std::string*>(out);
            const char* value = nullptr;
            const bool has = api.getString(context, key, &value) == settings::kSuccess;
            text += key + (has ? std::string("=") + value : "") + (index + 1 < count ? "|" : "");
        };
        api.forEachKey(handle.get(), add, &result);
        return result;
    }

    /// What an entry reads: "12" for a number, "status 303" for a failure.
    template <class Number>
    std::string read(settings::Status (*entry)(settings_context*, const char*, Number*),
                     const char* key) const {
        Number number = {};
        const settings::Status status = entry(handle.get(), key, &number);
        if (status != settings::kSuccess) {
            return "status " + std::to_string(status);
        }
        if constexpr (std::is_pointer_v<Number>) {
            return number;
        } else {
            return std::to_string(number);
        }
    }

    std::vector<int> errors() const {
        const std::int32_t* lines = nullptr;
        std::uint32_t count = 7;
        api.getErrors(handle.get(), &lines, &count);
        return {lines, lines + count};
    }

    ContextHandle handle;
};

/// Builds a validator or key mapper: `fill` gets the builder.
template <class Fill>
Validator makeValidator(Fill fill) {
    settings_validator_builder* builder = api.createValidatorBuilder();
    fill(builder);
    settings_validator* validator = nullptr;
    api.buildValidator(builder, &validator);
    api.destroyValidatorBuilder(builder);
    return Validator(validator);
}

template <class Fill>
Mapper makeMapper(Fill fill) {
    settings_key_mapper_builder* builder = api.createKeyMapperBuilder();
    fill(builder);
    settings_key_mapper* mapper = nullptr;
    api.buildKeyMapper(builder, &mapper);
    api.destroyKeyMapperBuilder(builder);
    return Mapper(mapper);
}
