#include <windows.h>

#include <algorithm>
#include <map>

#include "dryrun/Description.h"

namespace {

constexpr std::string_view kPathValue =
    "HKLM\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER\\ENVIRONMENT [PATH]";

struct Fact {
    std::string text = {};
    bool isContainer = false;  ///< a key or directory that its contents show
};
using Facts = std::map<std::string, Fact>;

/// The keys or directories around a name; a directory's name ends in a backslash.
void addContainers(Facts& facts, const std::string& name, bool isRegistry) {
    for (std::size_t end = name.find('\\'); end != std::string::npos;
         end = name.find('\\', end + 1)) {
        facts.try_emplace(name.substr(0, end + (isRegistry ? 0 : 1)), Fact{"", true});
    }
}

/// A registry value as text; the type is named unless it is REG_SZ.
std::string valueText(const Json& value) {
    static const std::map<unsigned, std::string> kTypes = {
        {REG_NONE, "REG_NONE"},     {REG_SZ, "REG_SZ"},       {REG_EXPAND_SZ, "REG_EXPAND_SZ"},
        {REG_BINARY, "REG_BINARY"}, {REG_DWORD, "REG_DWORD"}, {REG_MULTI_SZ, "REG_MULTI_SZ"},
        {REG_QWORD, "REG_QWORD"}};
    if (value.is_string()) {
        return oneLine(value);
    }
    if (value.is_number()) {
        return value.dump() + " (REG_DWORD)";
    }
    if (value.contains("expand")) {
        return oneLine(value["expand"]) + " (REG_EXPAND_SZ)";
    }
    const unsigned type = value["type"];
    const auto known = kTypes.find(type);
    return value["hex"].get<std::string>() + " (" +
           (known == kTypes.end() ? "type " + std::to_string(type) : known->second) + ")";
}

Facts registryFacts(const Json& description) {
    Facts facts;
    for (const auto& [key, values] : description["registry"].items()) {
        addContainers(facts, key, true);
        facts[key] = {"", !values.empty()};
        for (const auto& [name, value] : values.items()) {
            facts[key + " [" + (name.empty() ? "(Default)" : name) + "]"].text = valueText(value);
        }
    }
    return facts;
}

/// A file's facts as text. A size of 0 is that of a file whose size nobody described.
std::string fileText(Json file) {
    if (file.value("size", 1u) == 0) {
        file.erase("size");
    }
    return file.empty() ? "" : oneLine(file);
}

Facts fileFacts(const Json& description) {
    Facts facts;
    for (const auto& [path, file] : description["files"].items()) {
        addContainers(facts, path, false);
        facts[path] = {fileText(file)};
    }
    return facts;
}

Facts otherFacts(const Json& description, const char* part) {
    Facts facts;
    const Json entries = description.value(part, Json::object());
    for (const auto& [name, value] : entries.items()) {
        facts[value.is_object() ? value["from"].get<std::string>() : name].text =
            !value.is_object()     ? value.get<std::string>()
            : value.contains("to") ? "moved to " + value["to"].get<std::string>()
                                   : "deleted";
    }
    return facts;
}

Facts productFacts(const Json& description) {
    Facts facts;
    for (const Json& product : description.value("products", Json::array())) {
        const std::string code = product["code"];
        for (const auto& [name, value] : product.items()) {
            if (name != "code") {
                facts[code + " " + name].text = oneLine(value);
            }
        }
    }
    return facts;
}

void compare(const std::string& group, const Facts& before, const Facts& after, Json& changes) {
    const auto add = [&](const char* sign, const std::string& name, const std::string& old,
                         const std::string& now) {
        changes.push_back(
            {{"group", group}, {"sign", sign}, {"what", name}, {"before", old}, {"after", now}});
    };
    for (const auto& [name, fact] : before) {
        const auto now = after.find(name);
        if (now == after.end()) {
            add("-", name, fact.text, "");
        } else if (now->second.text != fact.text) {
            add("~", name, fact.text, now->second.text);
        }
    }
    for (const auto& [name, fact] : after) {
        // A new key or directory shows by its contents.
        if (!before.contains(name) && !fact.isContainer) {
            add("+", name, "", fact.text);
        }
    }
}

}  // namespace

std::string oneLine(const Json& value) {
    std::string text;
    if (value.is_string()) {
        text = value.get<std::string>();
    } else if (value.is_object()) {
        for (const auto& [name, fact] : value.items()) {
            text += (text.empty() ? "" : ", ") + name + " " + oneLine(fact);
        }
    } else {
        text = value.dump();
    }
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 32 || c == 127; }, ' ');
    return text;
}

Json changesOf(const Json& before, const Json& after, const std::string& startMenu) {
    Json changes = Json::array();
    compare("Registry", registryFacts(before), registryFacts(after), changes);
    compare("Files", fileFacts(before), fileFacts(after), changes);
    compare("Products", productFacts(before), productFacts(after), changes);
    for (const auto& [group, part] :
         {std::pair("At the next restart", "atRestart"), std::pair("Properties", "properties")}) {
        compare(group, otherFacts(before, part), otherFacts(after, part), changes);
    }
    for (Json& change : changes) {
        const std::string name = foldedName(change["what"].get_ref<const std::string&>());
        if (change["group"] == "Registry" && name == kPathValue) {
            change["group"] = "Path";
        } else if (change["group"] == "Files" && name.starts_with(foldedName(startMenu) + "\\")) {
            change["group"] = "Start menu";
        }
    }
    std::stable_sort(changes.begin(), changes.end(),
                     [](const Json& a, const Json& b) { return a["what"] < b["what"]; });
    return changes;
}
