#include "settings/share/settings.h"

#include <windows.h>
#include <shlobj.h>
#include <stdio.h>

#include <new>

#include "settings/share/Config.h"
#include "settings/share/ConfigFile.h"
#include "settings/share/Entries.h"
#include "settings/share/PlainTextEntrySerializer.h"
#include "settings/share/PlainTextFileConfigParser.h"

namespace settings_impl {

namespace {

using settings::Status;

/// The path of the runtime settings file, in UTF-8.
std::string defaultPath() {
    TCHAR folder[MAX_PATH];
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES_COMMONX86, nullptr, SHGFP_TYPE_CURRENT,
                                folder))) {
        throw settings::Exception(settings::kFailure);
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
        throw settings::Exception(settings::kBadLines);
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
            throw settings::Exception(settings::kBadLines);
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

settings_context* create() {
    try {
        return new settings_context();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void destroy(settings_context* context) {
    delete context;
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

void fillContextEntries(settings_api& table) {
    table.create = create;
    table.destroy = destroy;
    table.getPath = getPath;
    table.loadFile = loadFile;
    table.loadText = loadText;
    table.merge = mergeContexts;
    table.getErrors = getErrors;
    table.save = save;
    table.isEmpty = isEmpty;
    table.equals = equals;
    table.forEachKey = forEachKey;
    table.getString = getString;
    table.getBool = getBool;
    table.getInt = getInt;
    table.getDouble = getDouble;
    table.removeKey = removeKey;
}

}  // namespace

}  // namespace settings_impl

void getSettingsApi(settings_api* table) {
    settings_impl::fillContextEntries(*table);
    settings_impl::fillValidatorEntries(*table);
    settings_impl::fillKeyMapperEntries(*table);
}
