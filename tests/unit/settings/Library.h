// The settings library as a client holds it: the table beside each handle.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "settings/share/settings.h"

inline settings_api settingsTable() {
    settings_api table;
    getSettingsApi(&table);
    return table;
}

template <class Handle, void (*settings_api::*destroy)(Handle*)>
struct HandleDeleter {
    void operator()(Handle* handle) const { (settingsTable().*destroy)(handle); }
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
        const auto add = [](settings_context* context, std::uint32_t, std::uint32_t index,
                            const char* key, void* out) {
            auto& text = *static_cast<std::string*>(out);
            text += std::string(index ? "|" : "") + key;
            const char* value = nullptr;
            if (settingsTable().getString(context, key, &value) == settings::kSuccess) {
                text += std::string("=") + value;
            }
        };
        api.forEachKey(handle.get(), add, &result);
        return result;
    }

    /// "12" for a value, "status 303" for a failure.
    std::string getInt(const char* key) const {
        std::int32_t number = 0;
        const settings::Status status = api.getInt(handle.get(), key, &number);
        return answer(status, std::to_string(number));
    }
    std::string getBool(const char* key) const {
        std::int32_t flag = 0;
        const settings::Status status = api.getBool(handle.get(), key, &flag);
        return answer(status, std::to_string(flag));
    }
    std::string getDouble(const char* key) const {
        double number = 0;
        const settings::Status status = api.getDouble(handle.get(), key, &number);
        return answer(status, std::to_string(number));
    }
    std::string getString(const char* key) const {
        const char* text = "";
        const settings::Status status = api.getString(handle.get(), key, &text);
        return answer(status, text);
    }

    std::vector<int> errors() const {
        const std::int32_t* lines = nullptr;
        std::uint32_t count = 0;
        api.getErrors(handle.get(), &lines, &count);
        return lines ? std::vector<int>(lines, lines + count) : std::vector<int>();
    }

    settings_api api = settingsTable();
    ContextHandle handle;

private:
    static std::string answer(settings::Status status, const std::string& text) {
        return status == settings::kSuccess ? text : "status " + std::to_string(status);
    }
};

/// Builds a validator or key mapper: `fill` gets the table and the builder.
template <class Fill>
Validator makeValidator(Fill fill) {
    const settings_api api = settingsTable();
    settings_validator_builder* builder = api.createValidatorBuilder();
    fill(api, builder);
    settings_validator* validator = nullptr;
    api.buildValidator(builder, &validator);
    api.destroyValidatorBuilder(builder);
    return Validator(validator);
}

template <class Fill>
Mapper makeMapper(Fill fill) {
    const settings_api api = settingsTable();
    settings_key_mapper_builder* builder = api.createKeyMapperBuilder();
    fill(api, builder);
    settings_key_mapper* mapper = nullptr;
    api.buildKeyMapper(builder, &mapper);
    api.destroyKeyMapperBuilder(builder);
    return Mapper(mapper);
}
