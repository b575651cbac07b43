#include "dryrun/Format.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <numeric>
#include <regex>
#include <set>
#include <utility>

#include "dryrun/Description.h"
#include "dryrun/Encoding.h"
#include "simulated/machine/files/FilePath.h"
#include "simulated/machine/Names.h"

using simulated::fromUtf8;

namespace {

constexpr std::size_t kMaxBytes = 64u << 20;
constexpr int kMaxDepth = 12;
constexpr std::size_t kMaxShown = 200;
/// The registry has no more levels (Microsoft, "Registry Element Size Limits").
constexpr std::size_t kMaxKeyLevels = 512;
constexpr std::size_t kMaxPathUnits = 32767;
constexpr std::size_t kMaxKeyUnits = 255;
constexpr std::size_t kCodeBytes = 38;

/// An object has these members, or members whose names have the form in "<>" (the first that
/// matches); an array has items of one shape; a value has the form that its text names, as messages
/// do.
const Json kShape = Json::parse(R"({
    "windows": {"version": "up to 3 numbers below 65536 with dots between", "bits": "32 or 64",
        "languages": ["a text"]},
    "process": {"bits": "32 or 64", "administrator": "true or false", "elevated": "true or false",
        "localSystem": "true or false", "environment": {"<a text>": "a text"}},
    "folders": {"windows": "a path", "system": "a path", "wow64": "a path",
        "programFilesX86": "a path", "commonFiles": "a path", "commonFilesX86": "a path",
        "commonPrograms": "a path"},
    "drives": {"<a letter from A to Z>": "fixed, remote, cdrom, removable or ramdisk"},
    "registry": {"<a key below HKLM, HKCU or HKU>": {"<a text>": "a registry value"}},
    "files": {
        "<a directory's path>": {"link": "a link", "readOnly": "true or false"},
        "<a path>": {"size": "a whole number up to 2^62", "text": "a content",
            "manifest": "a content", "link": "a link",
            "version": "up to 4 numbers below 65536 with dots between",
            "readOnly": "true or false", "inUse": "true or false",
            "shortcut": {"target": "a text", "arguments": "a text", "description": "a text",
                "icon": "a text", "internet": "true or false"}}},
    "products": [{"code": "a code", "upgradeCode": "a code", "info": {"<a text>": "a text"},
        "type": "QVR or QVK", "version": "a text", "bits": "32 or 64", "home": "a path",
        "package": {"path": "a text", "status": "a whole number up to 2^32 - 1", "upgrade": ["a text"],
            "properties": {"<a text>": "a text"}, "components": {"<a text>": "a text"}}}],
    "package": {"path": "a text", "status": "a whole number up to 2^32 - 1", "upgrade": ["a text"],
        "properties": {"<a text>": "a text"}, "components": {"<a text>": "a text"}},
    "atRestart": [{"from": "a text", "to": "a text"}],
    "unread": [{"what": "a text", "status": "a whole number up to 2^32 - 1"}]
})");
/// What is added to these words in a message.
const std::map<std::string, std::string> kExamples = {
    {"a text", " without NUL"},
    {"a path", R"(, absolute, such as "C:\\x")"},
    {"a content", R"( or {"hex": digits in pairs})"},
    {"a link",
     R"(: an absolute path, a name that begins with "\\??\\", or {"hex": digits in pairs})"},
    {"a code", " such as {26A24AE4-039D-4CA4-87B4-2F64180451F0}"},
    {"a registry value",
     R"(: a text, a number, {"expand": text} or {"type": number, "hex": digits in pairs})"}};

// ---- The forms of values and names ----

bool isText(const Json& value) {
    return value.is_string() && value.get_ref<const std::string&>().find('\0') == std::string::npos;
}

std::string textOf(const Json& value) {
    return isText(value) ? value.get<std::string>() : std::string();
}

bool isNumber(const Json& value, std::uint64_t most) {
    return value.is_number_unsigned() && value.get<std::uint64_t>() <= most;
}

bool isNumber32(const Json& value) {
    return isNumber(value, 0xFFFFFFFF);
}

bool isHex(const Json& value) {
    return value.is_object() && value.size() == 1 && value.contains("hex") &&
           isText(value["hex"]) && bytesOf(textOf(value["hex"])).has_value();
}

bool isLink(const Json& value) {
    const std::string text = textOf(value);
    return isHex(value) || text.starts_with("\\??\\") || pathOf(text).has_value();
}

bool isRegistryValue(const Json& value) {
    const auto has = [&](const char* name, const auto& isGood) {
        return value.is_object() && value.contains(name) && isGood(value[name]);
    };
    return isText(value) || isNumber32(value) || (has("expand", isText) && value.size() == 1) ||
           (has("type", isNumber32) &&
            has("hex", [](const Json& hex) { return bytesOf(textOf(hex)).has_value(); }) &&
            value["hex"].is_string() && value.size() == 2);
}

bool isKeyPath(const std::string& key) {
    const std::vector<std::u16string> names = simulated::components(fromUtf8(key));
    return names.size() > 1 && names.size() <= kMaxKeyLevels && !key.ends_with('\\') &&
           key.find("\\\\") == std::string::npos &&
           (names[0] == u"HKLM" || names[0] == u"HKCU" || names[0] == u"HKU") &&
           std::all_of(names.begin(), names.end(),
                       [](const auto& name) { return name.size() <= kMaxKeyUnits; });
}

bool isCode(const std::string& text) {
    static const std::regex kForm(
        "\\{[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}\\}");
    return text.size() == kCodeBytes && std::regex_match(text, kForm);
}

using Form = bool (*)(const Json&);

const std::map<std::string, Form> kForms = {
    {"a text", isText},
    {"a content", [](const Json& value) { return isText(value) || isHex(value); }},
    {"a link", isLink},
    {"true or false", [](const Json& value) { return value.is_boolean(); }},
    {"32 or 64", [](const Json& value) { return value == 32 || value == 64; }},
    {"a whole number up to 2^32 - 1", isNumber32},
    {"a whole number up to 2^62", [](const Json& value) { return isNumber(value, 1ull << 62); }},
    {"up to 3 numbers below 65536 with dots between",
     [](const Json& value) { return versionOf(textOf(value), 3).has_value(); }},
    {"up to 4 numbers below 65536 with dots between",
     [](const Json& value) { return versionOf(textOf(value), 4).has_value(); }},
    {"a path", [](const Json& value) { return pathOf(textOf(value)).has_value(); }},
    {"a directory's path",
     [](const Json& value) {
         return textOf(value).ends_with('\\') && pathOf(textOf(value)).has_value();
     }},
    {"a key below HKLM, HKCU or HKU", [](const Json& value) { return isKeyPath(textOf(value)); }},
    {"a registry value", isRegistryValue},
    {"a letter from A to Z",
     [](const Json& value) { return textOf(value).size() == 1 && value >= "A" && value <= "Z"; }},
    {"fixed, remote, cdrom, removable or ramdisk",
     [](const Json& value) { return driveTypeOf(textOf(value)).has_value(); }},
    {"a code", [](const Json& value) { return isCode(textOf(value)); }},
    {"QVR or QVK", [](const Json& value) { return value == "QVR" || value == "QVK"; }}};

// ---- Shapes ----

/// The levels below a part at which null removes what the machine has by default: keys and values
/// of the registry, files.
const std::map<std::string, int> kRemovableLevels = {{"registry", 2}, {"files", 1}};

void expectShape(const std::string& place, const Json& value, const Json& shape,
                 int removableLevels);

[[noreturn]] void refuseForm(const std::string& place, const std::string& form, const Json& value) {
    const auto example = kExamples.find(form);
    refuse(place, form + (example == kExamples.end() ? "" : example->second), value);
}

/// The shape of the member of a name, whose place is that of its object.
const Json& memberShape(const std::string& place, const std::string& name, const Json& shapes) {
    if (shapes.contains(name)) {
        return shapes[name];
    }
    std::vector<std::string> known;
    std::string form;
    for (const auto& [told, shape] : shapes.items()) {
        if (!told.starts_with('<')) {
            known.push_back(told);
        } else if (form = told.substr(1, told.size() - 2); kForms.at(form)(name)) {
            return shape;
        }
    }
    if (!form.empty()) {
        refuseForm(place, form, name);
    }
    refuse(place, "known names (" + nearestName(name, known) + "?)", name);
}

void expectMembers(const std::string& place, const Json& value, const Json& shapes,
                   int removableLevels) {
    if (!value.is_object()) {
        refuse(place, "an object", value);
    }
    const bool isDescription = &shapes == &kShape;
    for (const auto& [name, member] : value.items()) {
        const Json& shape = memberShape(place, name, shapes);
        if (removableLevels > 0 && member.is_null()) {
            continue;
        }
        const auto part = kRemovableLevels.find(name);
        const bool isPart = isDescription && part != kRemovableLevels.end();
        expectShape(place + (isDescription ? ": " : ".") + name, member, shape,
                    isPart ? part->second : removableLevels - 1);
    }
}

void expectItems(const std::string& place, const Json& value, const Json& shape) {
    if (!value.is_array()) {
        refuse(place, "an array", value);
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
        expectShape(place + "[" + std::to_string(i) + "]", value[i], shape, 0);
    }
}

void expectShape(const std::string& place, const Json& value, const Json& shape,
                 int removableLevels) {
    if (shape.is_object()) {
        expectMembers(place, value, shape, removableLevels);
    } else if (shape.is_array()) {
        expectItems(place, value, shape[0]);
    } else if (!kForms.at(shape)(value)) {
        refuseForm(place, shape, value);
    }
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (std::tolower(a[i]) != std::tolower(b[j]));
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string shortened(const std::string& text) {
    return text.size() <= kMaxShown ? text : text.substr(0, kMaxShown) + "…";
}

/// Throws BadInput for a text that is nested too deeply, and for the same name twice in an object,
/// of which a parsed value would keep one. Text that isn't JSON is left for the parser to report.
class Outline : public nlohmann::json_sax<Json> {
public:
    explicit Outline(std::string description) : description_(std::move(description)) {}

    bool start_object(std::size_t) override {
        objects_.emplace_back();
        return enter();
    }
    bool end_object() override {
        objects_.pop_back();
        return leave();
    }
    bool start_array(std::size_t) override { return enter(); }
    bool end_array() override { return leave(); }
    bool key(std::string& name) override {
        if (objects_.size() == 1) {
            part_ = name;
        }
        if (!objects_.back().insert(hasCase() ? name : foldedName(name)).second) {
            refuse(description_,
                   hasCase() ? "each name once in an object"
                             : "each name once in an object, in any case",
                   name, Json(name).dump() + " twice");
        }
        return true;
    }
    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(std::int64_t) override { return true; }
    bool number_unsigned(std::uint64_t) override { return true; }
    bool number_float(double, const std::string&) override { return true; }
    bool string(std::string&) override { return true; }
    bool binary(Json::binary_t&) override { return true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
        return false;
    }

private:
    /// The installer's properties and tables distinguish case; Windows' other names don't.
    bool hasCase() const { return part_ == "products" || part_ == "package"; }
    bool enter() {
        if (++depth_ > kMaxDepth) {
            throw BadInput(description_ +
                           ": expected few levels of objects and arrays, found more than " +
                           std::to_string(kMaxDepth));
        }
        return true;
    }
    bool leave() {
        --depth_;
        return true;
    }

    std::string description_;
    std::string part_;  ///< of the description
    std::vector<std::set<std::string>> objects_;
    int depth_ = 0;
};

}  // namespace

void refuse(const std::string& place, const std::string& expected, const Json& value,
            std::string found) {
    if (found.empty()) {
        found = value.is_object() ? "an object" : value.is_array() ? "an array" : value.dump();
    }
    throw BadInput(shortened(place) + ": expected " + expected + ", found " + shortened(found));
}

std::string nearestName(std::string_view name, const std::vector<std::string>& known) {
    return *std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return editDistance(name, a) < editDistance(name, b);
    });
}

Json parseDescription(const std::string& name, const std::string& bytes) {
    if (bytes.size() > kMaxBytes) {
        throw BadInput(name + ": expected at most 64 MB, found more");
    }
    const std::string text = utf8Of(bytes);
    if (text.find('\0') != std::string::npos) {
        throw BadInput(name + ": expected JSON, found a NUL");
    }
    try {
        Outline outline(name);
        Json::sax_parse(text, &outline);
        const Json description = Json::parse(text);
        expectDescription(name, description);
        return description;
    } catch (const Json::exception& e) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: …"
        const std::string message = e.what();
        throw BadInput(name + ": expected JSON, found a " + message.substr(message.find(']') + 2));
    }
}

void expectDescription(const std::string& name, const Json& description) {
    expectShape(name, description, kShape, 0);
}

std::optional<std::u16string> pathOf(std::string text) {
    while (text.ends_with('\\') && text.size() > 3) {
        text.pop_back();
    }
    const std::u16string path = fromUtf8(text);
    const simulated::FilePath parsed = simulated::parsePath(unlimitedPath(path), u"C:\\");
    const bool isAbsolute = path.starts_with(u"\\\\") || (path.size() > 2 && path[1] == u':' &&
                                                          (path[2] == u'\\' || path[2] == u'/'));
    const bool isGood =
        isAbsolute && parsed.status == 0 && !parsed.isDevice && path.size() <= kMaxPathUnits;
    return isGood ? std::optional(path) : std::nullopt;
}

std::u16string unlimitedPath(const std::u16string& path) {
    if (path.size() < MAX_PATH) {
        return path;
    }
    return path.starts_with(u"\\\\") ? u"\\\\?\\UNC" + path.substr(1) : u"\\\\?\\" + path;
}

std::optional<std::array<std::uint16_t, 4>> versionOf(const std::string& text, std::size_t most) {
    std::array<std::uint16_t, 4> numbers = {};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t i = 0; i < most; ++i) {
        const auto [next, error] = std::from_chars(at, end, numbers[i]);
        if (error == std::errc() && next == end) {
            return numbers;
        }
        if (error != std::errc() || *next != '.') {
            break;
        }
        at = next + 1;
    }
    return std::nullopt;
}

std::optional<unsigned> driveTypeOf(const std::string& kind) {
    static const std::map<std::string, unsigned> kTypes = {{"fixed", DRIVE_FIXED},
                                                           {"remote", DRIVE_REMOTE},
                                                           {"cdrom", DRIVE_CDROM},
                                                           {"removable", DRIVE_REMOVABLE},
                                                           {"ramdisk", DRIVE_RAMDISK}};
    const auto known = kTypes.find(kind);
    return known == kTypes.end() ? std::nullopt : std::optional(known->second);
}

std::optional<std::vector<std::uint8_t>> bytesOf(const std::string& digits) {
    std::vector<std::uint8_t> bytes(digits.size() / 2);
    bool isGood = digits.size() % 2 == 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* const pair = digits.data() + 2 * i;
        isGood = isGood && std::from_chars(pair, pair + 2, bytes[i], 16).ptr == pair + 2;
    }
    return isGood ? std::optional(bytes) : std::nullopt;
}
