// The settings library with any text, as a file and as a string, with and without rules. What it
// accepts can be read, saved, and loaded again to the same configuration.
#include "fuzz/Fuzz.h"
#include "support/Settings.h"

namespace {

/// Reads each key in every way.
void readKey(settings_context* context, std::uint32_t, std::uint32_t, const char* key, void*) {
    const char* text = nullptr;
    std::int32_t number = 0;
    double real = 0;
    const settings::Status status = api.getString(context, key, &text);
    require(status == settings::kSuccess || status == settings::kNoFittingValue,
            "a key that is listed has a string or no value");
    require(api.getInt(context, key, &number) != settings::kNoSuchKey, "it may be a number");
    require(api.getBool(context, key, &number) != settings::kNoSuchKey, "it may be a flag");
    require(api.getDouble(context, key, &real) != settings::kNoSuchKey, "it may be a real number");
}

const Validator& rules() {
    static const Validator validator = makeValidator([](auto* builder) {
        constexpr FixedValue kWords[] = {{"Enable", 1, settings::kExactCase},
                                         {"disable", 0, settings::kStoreListedText}};
        api.addIntKey(builder, "i");
        api.addBoolKey(builder, "b");
        api.addDoubleKey(builder, "d");
        api.addFixedValues(builder, "w", kWords, 2);
        api.addDirnameKey(builder, "p", 0);
        api.allowUnknownKeys(builder, 1);
    });
    return validator;
}

const Mapper& mappings() {
    static const Mapper mapper = makeMapper([](auto* builder) {
        for (const char* key : {"i", "b", "d", "w", "p"}) {
            api.addKeyMapping(builder, key, key, 0);
        }
    });
    return mapper;
}

/// Saves the configuration and loads it again.
void checkReload(const Context& context, Load options) {
    options.stopOnError = options.bareKeys = true;
    require(api.save(context.get(), "C:/f/saved.cfg") == settings::kSuccess, "it can be saved");
    Context again;
    const settings::Status status = again.loadFile("C:/f/saved.cfg", options);
    if (status == settings::kSuccess) {
        require(again.dump() == context.dump(), "a saved configuration is the same");
        return;
    }
    // A key may end within a sequence of several bytes, which is then not valid in the saved text.
    require(status == settings::kTextNotUtf8 || status == settings::kFileTooLong,
            "a saved configuration can be loaded");
}

}  // namespace

void fuzz(const std::string& input) {
    const int bits = input.empty() ? 0 : input[0];
    const std::string text(input, input.empty() ? 0 : 1);
    const bool ruled = bits & 1;
    const Load options = {ruled ? rules().get() : nullptr, ruled ? mappings().get() : nullptr,
                          (bits & 2) != 0, (bits & 4) != 0};
    Context context;
    machine().volumes.addFile(u"C:\\f\\read.cfg", text);
    const settings::Status status =
        bits & 8 ? context.loadFile("C:\\f\\read.cfg", options) : context.load(text, options);
    require(status == settings::kSuccess || status == settings::kBadLines ||
                status == settings::kTextNotUtf8 || status == settings::kFileTooLong,
            "a load has a status of its own");
    api.forEachKey(context.get(), readKey, context.get());
    // A zero byte cuts keys and values short, and a key may begin with what is a byte order mark at
    // the beginning of a file: what is saved then need not read back.
    if (!ruled && text.find('\0') == text.npos && text.find("\xEF\xBB\xBF") == text.npos) {
        checkReload(context, options);
    }
}
