// The settings library with any text, as a file and as a string, with and without rules. What it
// accepts can be read, saved, and loaded again to the same configuration.
#include <cstdint>
#include <string>

#include "fuzz/Require.h"
#include "settings/share/settings.h"
#include "simulated/machine/Machine.h"

namespace {

const settings_api api = [] {
    settings_api table;
    getSettingsApi(&table);
    return table;
}();

struct Rules {
    Rules() {
        constexpr FixedValue kWords[] = {{"Enable", 1, settings::kExactCase},
                                         {"disable", 0, settings::kStoreListedText}};
        settings_validator_builder* rules = api.createValidatorBuilder();
        api.addIntKey(rules, "i");
        api.addBoolKey(rules, "b");
        api.addDoubleKey(rules, "d");
        api.addFixedValues(rules, "w", kWords, 2);
        api.addDirnameKey(rules, "p", 0);
        api.allowUnknownKeys(rules, 1);
        require(api.buildValidator(rules, &validator) == settings::kSuccess);
        settings_key_mapper_builder* mappings = api.createKeyMapperBuilder();
        for (const char* key : {"i", "b", "d", "w", "p"}) {
            api.addKeyMapping(mappings, key, key, 0);
        }
        require(api.buildKeyMapper(mappings, &keyMapper) == settings::kSuccess);
        api.destroyValidatorBuilder(rules);
        api.destroyKeyMapperBuilder(mappings);
    }

    settings_validator* validator = nullptr;
    settings_key_mapper* keyMapper = nullptr;
};

/// Reads each key in every way.
void readKey(settings_context* context, std::uint32_t, std::uint32_t, const char* key, void*) {
    const char* text = nullptr;
    std::int32_t number = 0;
    double real = 0;
    const settings::Status status = api.getString(context, key, &text);
    require(status == settings::kSuccess || status == settings::kNoFittingValue);
    require(api.getInt(context, key, &number) != settings::kNoSuchKey);
    require(api.getBool(context, key, &number) != settings::kNoSuchKey);
    require(api.getDouble(context, key, &real) != settings::kNoSuchKey);
}

void saveAndReload(settings_context* context, const Rules& rules) {
    require(api.save(context, "C:/f/saved.cfg") == settings::kSuccess);
    settings_context* again = api.create();
    const settings::Status status =
        api.loadFile(again, "C:/f/saved.cfg", rules.validator, rules.keyMapper, 1, 1);
    // A key may end within a form of several bytes, which then reaches beyond the saved text.
    require(status == settings::kSuccess || status == settings::kTextNotUtf8 ||
            status == settings::kFileTooLong);
    if (status == settings::kSuccess) {
        std::int32_t same = 0;
        require(api.equals(context, again, &same) == settings::kSuccess && same == 1);
    }
    api.destroy(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    static const Rules rules;
    static simulated::Machine machine;
    const simulated::Running running(machine);
    const std::uint8_t options = data[0];
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    settings_validator* validator = options & 1 ? rules.validator : nullptr;
    settings_key_mapper* keyMapper = options & 1 ? rules.keyMapper : nullptr;
    settings_context* context = api.create();
    machine.volumes.addFile(u"C:\\f\\read.cfg", text);
    const settings::Status status = (options & 8 ? api.loadFile : api.loadText)(
        context, options & 8 ? "C:\\f\\read.cfg" : text.c_str(), validator, keyMapper, options & 2,
        options & 4);
    require(status == settings::kSuccess || status == settings::kBadLines ||
            status == settings::kTextNotUtf8 || status == settings::kFileTooLong);
    api.forEachKey(context, readKey, context);
    // A zero byte cuts keys and values short, and a key may begin with what is a byte order mark at
    // the head of a file: what is saved then need not read back.
    if ((options & 1) && text.find('\0') == std::string::npos &&
        text.find("\xEF\xBB\xBF") == std::string::npos) {
        saveAndReload(context, rules);
    }
    api.destroy(context);
    return 0;
}
