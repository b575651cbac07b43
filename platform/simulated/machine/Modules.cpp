#include <windows.h>

#include "simulated/machine/Modules.h"

#include <algorithm>
#include <array>

#include "simulated/machine/Facts.h"
#include "simulated/machine/SystemTexts.h"

namespace simulated {

namespace {

constexpr std::array<std::u16string_view, 12> kLibraries = {
    u"advapi32.dll", u"kernel32.dll", u"msi.dll",    u"msimsg.dll",
    u"msvcrt.dll",   u"ntdll.dll",    u"ole32.dll",  u"oleaut32.dll",
    u"shell32.dll",  u"shlwapi.dll",  u"user32.dll", u"version.dll"};

constexpr std::array<std::string_view, 11> kAdvapi32 = {
    "ConvertSidToStringSidW",
    "ConvertStringSecurityDescriptorToSecurityDescriptorW",
    "ConvertStringSidToSidW",
    "CopySid",
    "EqualSid",
    "GetFileSecurityW",
    "GetLengthSid",
    "GetTokenInformation",
    "IsValidSid",
    "OpenProcessToken",
    "SetFileSecurityW"};

constexpr std::array<std::string_view, 2> kUser32 = {"MessageBoxW", "SendMessageTimeoutW"};
constexpr std::array<std::string_view, 2> kOle32 = {"IIDFromString", "StringFromGUID2"};

template <std::size_t n>
bool holds(const std::array<std::string_view, n>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

/// The library that exports a function on Windows. A few families of names tell most of it.
std::u16string_view libraryOf(std::string_view function) {
    if (function.starts_with("Reg") || holds(kAdvapi32, function)) {
        return u"advapi32.dll";
    }
    if (function.starts_with("Msi")) {
        return u"msi.dll";
    }
    if (function.starts_with("Rtl")) {
        return u"ntdll.dll";
    }
    if (function.starts_with("Path") || function == "SHDeleteKeyW") {
        return u"shlwapi.dll";
    }
    if (function.starts_with("SH") || function == "CommandLineToArgvW") {
        return u"shell32.dll";
    }
    if ((function.starts_with("Co") && function.size() > 2 && isUpper(function[2])) ||
        holds(kOle32, function)) {
        return u"ole32.dll";
    }
    if (function.starts_with("Sys") || function == "GetErrorInfo") {
        return u"oleaut32.dll";
    }
    if (function.starts_with("GetFileVersionInfo") || function.starts_with("Ver")) {
        return u"version.dll";
    }
    if (holds(kUser32, function)) {
        return u"user32.dll";
    }
    return !function.empty() && isUpper(function[0]) ? u"kernel32.dll" : u"msvcrt.dll";
}

/// The file name that a library is asked for by: with ".dll" where there is no extension.
std::u16string withExtension(std::u16string_view name) {
    std::u16string result(name);
    return name.find(u'.') == std::u16string_view::npos ? result + u".dll" : result;
}

}  // namespace

Modules::Modules() {
    for (const std::u16string_view name : kLibraries) {
        auto library = std::make_unique<Module>();
        library->fileName = name;
        library->alwaysLoaded = name != u"msimsg.dll";
        libraries_.emplace(name, std::move(library));
    }
    libraries_.find(u"msimsg.dll")->second->strings = installerTexts();
    systemMessages_ = systemTexts();
    program_.alwaysLoaded = true;
    product_.alwaysLoaded = true;
}

Modules::~Modules() = default;

void Modules::hideModule(std::u16string_view library) {
    find(library)->hidden = true;
}

void Modules::hideFunction(std::u16string_view library, std::string_view function) {
    find(library)->hiddenFunctions.emplace(function);
}

void Modules::setString(std::u16string_view library, std::uint32_t id, std::u16string_view text) {
    Module& module = *find(library);
    module.blocks.erase(static_cast<std::uint16_t>((id >> 4) + 1));
    module.strings[id] = text;
    if (text.empty()) {
        module.strings.erase(id);
    }
}

void Modules::setMessage(std::u16string_view library, std::uint32_t id, std::u16string_view text) {
    find(library)->messages[id] = text;
}

Module* Modules::find(std::u16string_view fileName) {
    const auto found = libraries_.find(withExtension(fileName));
    return found == libraries_.end() ? nullptr : found->second.get();
}

Module& Modules::ownerOf(std::string_view function) {
    return *find(libraryOf(function));
}

const std::u16string* Modules::systemMessage(std::uint32_t id) const {
    const auto found = systemMessages_.find(id);
    return found == systemMessages_.end() ? nullptr : &found->second;
}

HMODULE Modules::handleOf(const Module& module, bool asData) {
    const auto address = reinterpret_cast<std::uintptr_t>(&module);
    return reinterpret_cast<HMODULE>(address | (asData ? 1 : 0));
}

bool Modules::isDataHandle(HMODULE handle) {
    return (reinterpret_cast<std::uintptr_t>(handle) & 1) != 0;
}

Module* Modules::fromHandle(HMODULE handle) {
    if (handle == nullptr || handle == handleOf(program_)) {
        return &program_;
    }
    if (handle == handleOf(product_)) {
        return &product_;
    }
    for (const auto& [name, library] : libraries_) {
        if ((handle == handleOf(*library) && library->isLoaded()) ||
            (handle == handleOf(*library, true) && !library->dataReferences.empty())) {
            return library.get();
        }
    }
    return nullptr;
}

std::u16string Modules::path(const Module& module, const Facts& facts) const {
    if (&module == &program_) {
        return facts.programPath;
    }
    return &module == &product_ ? facts.modulePath
                                : facts.systemDirectory + u'\\' + module.fileName;
}

void Modules::endProcess() {
    for (const auto& [name, library] : libraries_) {
        library->references.clear();
        library->dataReferences.clear();
    }
    program_.references.clear();
    product_.references.clear();
}

}  // namespace simulated
