// The settings library with any text, as a file and as a string, with and without rules. What it
// accepts can be read, saved, and loaded again to the same configuration.
#include "fuzz/Fuzz.h"
#include "simulated/machine/Machine.h"
#include "support/Settings.h"

namespace {

Validator makeRules() {
    return makeValidator([](auto* builder) {
        constexpr FixedValue kWords[] = {{"Enable", 1, settings::kExactCase},
                                         {"disable", 0, settings::kStoreListedText}};
        api.addIntKey(builder, "i");
        api.addBoolKey(builder, "b");
        api.addDoubleKey(builder, "d");
        api.addFixedValues(builder, "w", kWords, 2);
        api.addDirnameKey(builder, "p", 0);
        api.allowUnknownKeys(builder, 1);
    });
}

Mapper makeMappings() {
    return makeMapper([](auto* builder) {
        for (const char* key : {"i", "b", "d", "w", "p"}) {
            api.addKeyMapping(builder, key, key, 0);
        }
    });
}

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

void saveAndReload(const Context& context, const Load& options) {
    require(api.save(context.get(), "C:/f/saved.cfg") == settings::kSuccess);
    Context again;
    const settings::Status status = again.loadFile("C:/f/saved.cfg", options);
    // A key may end within a form of several bytes, which then reaches beyond the saved text.
    require(status == settings::kSuccess || status == settings::kTextNotUtf8 ||
            status == settings::kFileTooLong);
    std::int32_t same = 0;
    require(status != settings::kSuccess ||
            (api.equals(context.get(), again.get(), &same) == settings::kSuccess && same == 1));
}

}  // namespace

void fuzz(const std::string& input) {
    static const Validator rules = makeRules();
    static const Mapper mappings = makeMappings();
    static simulated::Machine machine;
    const simulated::Running running(machine);
    const int bits = input.empty() ? 0 : input[0];
    const std::string text = input.substr(input.empty() ? 0 : 1);
    const bool ruled = bits & 1;
    Load options = {ruled ? rules.get() : nullptr, ruled ? mappings.get() : nullptr,
                    (bits & 2) != 0, (bits & 4) != 0};
    Context context;
    machine.volumes.addFile(u"C:\\f\\read.cfg", text);
    const settings::Status status =
        bits & 8 ? context.loadFile("C:\\f\\read.cfg", options) : context.load(text, options);
    require(status == settings::kSuccess || status == settings::kBadLines ||
            status == settings::kTextNotUtf8 || status == settings::kFileTooLong);
    api.forEachKey(context.get(), readKey, context.get());
    // A zero byte cuts keys and values short, and a key may begin with what is a byte order mark at
    // the head of a file: what is saved then need not read back.
    if (ruled && text.find('\0') == text.npos && text.find("\xEF\xBB\xBF") == text.npos) {
        options.stopOnError = options.bareKeys = true;
        saveAndReload(context, options);
    }
}
