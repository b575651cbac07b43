#include "settings/share/settings.h"

#include <windows.h>
#include <shlobj.h>
#include <stdio.h>

#include <new>

#include "settings/share/Config.h"
#include "settings/share/ConfigFile.h"
#include "settings/share/ConfigValidatorBuilder.h"
#include "settings/share/ExceptionCode.h"
#include "settings/share/KeyMapper.h"
#include "settings/share/PlainTextEntrySerializer.h"
#include "settings/share/PlainTextFileConfigParser.h"

struct settings_validator {
    settings_impl::ConfigValidator validator;
};

struct settings_validator_builder {
    settings_impl::ConfigValidatorBuilder builder;
};

struct settings_key_mapper {
    settings_impl::KeyMapper keyMapper;
};

struct settings_key_mapper_builder {
    settings_impl::KeyMapperBuilder builder;
};

namespace settings_impl {

namespace {

using settings::Status;

/// Returns the path of the runtime settings file, in UTF-8.
std::string defaultPath() {
    TCHAR folder[MAX_PATH];
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES_COMMONX86, nullptr, SHGFP_TYPE_CURRENT,
                                folder))) {
        fail(settings::kFailure);
    }
    return toUtf8(folder) + "\\Dovrin\\Norv\\norv.settings.cfg";
}

FileName canonicalFileName(const std::string& path) {
    return canonicalize(FileName(checkPath(path)));
}

/// A configuration and the errors of its last load.
class Context : public IParserErrorListener {
public:
    Context() : config_(makeConfig({})), path_(defaultPath()) {}

    const IConfig& config() const { return *config_; }
    const std::string& path() const { return path_; }
    const std::vector<std::int32_t>& errors() const { return errors_; }

    void onError(const IParserCursor& cursor, const std::string& message) override {
        errors_.push_back(static_cast<std::int32_t>(
            static_cast<const PlainTextFileConfigParser::Cursor&>(cursor).line));
        fputs(("Error reading config file: " + message + "\n").c_str(), stderr);
        fflush(stderr);
        fail(settings::kBadLines);
    }

    void load(IConfigParser& parser, const settings_validator* validator,
              const settings_key_mapper* keyMapper, bool stopOnError, bool allowKeyWithoutValue) {
        parser.setErrorListener(this);
        parser.setValidator(validator ? &validator->validator : nullptr);
        parser.setKeyMapper(keyMapper ? &keyMapper->keyMapper : nullptr);
        parser.setStopOnError(stopOnError);
        parser.setAllowKeyWithoutValue(allowKeyWithoutValue);
        errors_.clear();
        if (const std::unique_ptr<IConfig> parsed = parser.parse()) {
            mergeFrom(*parsed);
        }
        if (!errors_.empty()) {
            fail(settings::kBadLines);
        }
    }

    void mergeFrom(const IConfig& other) { config_ = merge(*config_, other); }

    void remove(const std::string& key) { config_ = removeKeys(*config_, {key}); }

    void save(const std::string& path) const {
        const FileName fileName = canonicalFileName(path);
        PlainTextEntrySerializer serializer;
        for (const char* key : config_->keys()) {
            if (config_->hasValue(key)) {
                serializer.writeEntry(key, config_->getText(key));
            } else {
                serializer.writeKey(key);
            }
        }
        createParentDirectories(fileName);
        writeConfigFile(fileName, serializer.text().empty() ? " " : serializer.text());
    }

private:
    std::unique_ptr<IConfig> config_;
    std::string path_;
    std::vector<std::int32_t> errors_;
};

}  // namespace

}  // namespace settings_impl

struct settings_context {
    settings_impl::Context context;
};

namespace settings_impl {

namespace {

/// Returns the status of what `work` throws, or success. The body is passed as a pointer and a
/// function of its own type so that this function, with all its catch clauses, exists only once in
/// the DLL.
Status runGuarded(void (*work)(const void* body), const void* body) {
    try {
        work(body);
        return settings::kSuccess;
    } catch (const settings::Exception& e) {
        return e.code();
    } catch (...) {
        return settings::kFailure;
    }
}

/// Runs the body of an entry, after refusing null among its required pointer arguments.
template <class Body, class... Pointers>
Status runEntry(const Body& body, Pointers... arguments) {
    if ((!arguments || ...)) {
        return settings::kNullArgument;
    }
    return runGuarded([](const void* work) { (*static_cast<const Body*>(work))(); }, &body);
}

/// Returns a new object, null when out of memory.
template <class T>
T* createObject() {
    return new (std::nothrow) T();
}

template <class T>
void destroyObject(T* object) {
    delete object;
}

settings_context* create() {
    try {
        return new settings_context();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Status getPath(settings_context* context, const char** path) {
    return runEntry([&] { *path = context->context.path().c_str(); }, context, path);
}

Status loadFile(settings_context* context, const char* path, settings_validator* validator,
                settings_key_mapper* keyMapper, std::int32_t stopOnError,
                std::int32_t allowKeyWithoutValue) {
    return runEntry(
        [&] {
            PlainTextFileConfigParser parser(std::make_unique<FileBuffer>(canonicalFileName(path)));
            context->context.load(parser, validator, keyMapper, stopOnError != 0,
                                  allowKeyWithoutValue != 0);
        },
        context, path);
}

Status loadText(settings_context* context, const char* text, settings_validator* validator,
                settings_key_mapper* keyMapper, std::int32_t stopOnError,
                std::int32_t allowKeyWithoutValue) {
    return runEntry(
        [&] {
            PlainTextFileConfigParser parser(std::make_unique<StringBuffer>(text));
            context->context.load(parser, validator, keyMapper, stopOnError != 0,
                                  allowKeyWithoutValue != 0);
        },
        context, text);
}

Status mergeContexts(settings_context* context, settings_context* other) {
    return runEntry([&] { context->context.mergeFrom(other->context.config()); }, context, other);
}

Status getErrors(settings_context* context, const std::int32_t** lines, std::uint32_t* count) {
    return runEntry(
        [&] {
            const std::vector<std::int32_t>& errors = context->context.errors();
            *lines = errors.empty() ? nullptr : errors.data();
            *count = static_cast<std::uint32_t>(errors.size());
        },
        context, lines, count);
}

Status save(settings_context* context, const char* path) {
    return runEntry([&] { context->context.save(path); }, context, path);
}

Status isEmpty(settings_context* context, std::int32_t* flag) {
    return runEntry([&] { *flag = context->context.config().keys().empty() ? 1 : 0; }, context,
                    flag);
}

Status equals(settings_context* context, settings_context* other, std::int32_t* flag) {
    return runEntry(
        [&] { *flag = equal(context->context.config(), other->context.config()) ? 1 : 0; }, context,
        other, flag);
}

Status forEachKey(settings_context* context, settings_key_callback callback, void* userData) {
    return runEntry(
        [&] {
            const std::vector<const char*> owned = context->context.config().keys();
            const std::vector<std::string> keys(owned.begin(), owned.end());
            const auto count = static_cast<std::uint32_t>(keys.size());
            for (std::uint32_t i = 0; i < count; ++i) {
                callback(context, count, i, keys[i].c_str(), userData);
            }
        },
        context, callback, userData);
}

Status getString(settings_context* context, const char* key, const char** text) {
    return runEntry([&] { *text = context->context.config().getString(key); }, context, key, text);
}

Status getBool(settings_context* context, const char* key, std::int32_t* flag) {
    return runEntry(
        [&] {
            const IConfig& config = context->context.config();
            *flag = !config.hasValue(key) || config.getBool(key) ? 1 : 0;
        },
        context, key, flag);
}

Status getInt(settings_context* context, const char* key, std::int32_t* number) {
    return runEntry([&] { *number = context->context.config().getInt(key); }, context, key, number);
}

Status getDouble(settings_context* context, const char* key, double* number) {
    return runEntry([&] { *number = context->context.config().getDouble(key); }, context, key,
                    number);
}

Status removeKey(settings_context* context, const char* key) {
    return runEntry([&] { context->context.remove(key); }, context, key);
}

Status buildValidator(settings_validator_builder* builder, settings_validator** validator) {
    return runEntry([&] { *validator = new settings_validator{builder->builder.buildValidator()}; },
                    builder, validator);
}

template <ValueType type>
Status addTypedKey(settings_validator_builder* builder, const char* key) {
    return runEntry([&] { builder->builder.addTypedKey(key, type); }, builder, key);
}

Status allowUnknownKeys(settings_validator_builder* builder, std::int32_t flag) {
    return runEntry([&] { builder->builder.allowUnknownKeys(flag != 0); }, builder);
}

Status addFixedValues(settings_validator_builder* builder, const char* key,
                      const FixedValue* values, std::uint32_t count) {
    return runEntry(
        [&] {
            std::vector<ListedValue> listed;
            for (std::uint32_t i = 0; i < count; ++i) {
                if (!values[i].text) {
                    fail(settings::kNullArgument);
                }
                listed.push_back({values[i].text, values[i].value, values[i].flags});
            }
            builder->builder.addFixedValues(key, listed);
        },
        builder, key, values);
}

Status addDirnameKey(settings_validator_builder* builder, const char* key,
                     std::int32_t allowRelative) {
    return runEntry([&] { builder->builder.addDirnameKey(key, allowRelative != 0); }, builder, key);
}

Status buildKeyMapper(settings_key_mapper_builder* builder, settings_key_mapper** keyMapper) {
    return runEntry(
        [&] { *keyMapper = new settings_key_mapper{builder->builder.buildKeyMapper()}; }, builder,
        keyMapper);
}

Status addKeyMapping(settings_key_mapper_builder* builder, const char* from, const char* to,
                     std::int32_t caseSensitive) {
    return runEntry([&] { builder->builder.addKeyMapping(from, to, caseSensitive != 0); }, builder,
                    from, to);
}

constexpr settings_api kTable = {
    .create = create,
    .destroy = destroyObject<settings_context>,
    .getPath = getPath,
    .loadFile = loadFile,
    .loadText = loadText,
    .merge = mergeContexts,
    .getErrors = getErrors,
    .save = save,
    .isEmpty = isEmpty,
    .equals = equals,
    .forEachKey = forEachKey,
    .getString = getString,
    .getBool = getBool,
    .getInt = getInt,
    .getDouble = getDouble,
    .removeKey = removeKey,
    .destroyValidator = destroyObject<settings_validator>,
    .createValidatorBuilder = createObject<settings_validator_builder>,
    .destroyValidatorBuilder = destroyObject<settings_validator_builder>,
    .buildValidator = buildValidator,
    .addStringKey = addTypedKey<ValueType::String>,
    .addIntKey = addTypedKey<ValueType::Integer>,
    .addBoolKey = addTypedKey<ValueType::Boolean>,
    .addDoubleKey = addTypedKey<ValueType::Double>,
    .allowUnknownKeys = allowUnknownKeys,
    .addFixedValues = addFixedValues,
    .addDirnameKey = addDirnameKey,
    .destroyKeyMapper = destroyObject<settings_key_mapper>,
    .createKeyMapperBuilder = createObject<settings_key_mapper_builder>,
    .destroyKeyMapperBuilder = destroyObject<settings_key_mapper_builder>,
    .buildKeyMapper = buildKeyMapper,
    .addKeyMapping = addKeyMapping,
};

}  // namespace

}  // namespace settings_impl

void getSettingsApi(settings_api* table) {
    *table = settings_impl::kTable;
}
