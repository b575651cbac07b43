#include <windows.h>

#include "simulated/machine/process/Modules.h"

#include <array>
#include <utility>

#include "simulated/machine/process/Facts.h"
#include "simulated/machine/process/SystemTexts.h"

namespace simulated {

namespace {

constexpr std::array<std::u16string_view, 12> kLibraries = {
    u"advapi32.dll", u"kernel32.dll", u"msi.dll",    u"msimsg.dll",
    u"msvcrt.dll",   u"ntdll.dll",    u"ole32.dll",  u"oleaut32.dll",
    u"shell32.dll",  u"shlwapi.dll",  u"user32.dll", u"version.dll"};

/// How the functions begin that a library exports; the first that fits goes.
constexpr std::pair<std::string_view, std::u16string_view> kExports[] = {
    {"Reg", u"advapi32.dll"},        {"Convert", u"advapi32.dll"},
    {"CopySid", u"advapi32.dll"},    {"EqualSid", u"advapi32.dll"},
    {"GetToken", u"advapi32.dll"},   {"OpenPro", u"advapi32.dll"},
    {"SetFileSec", u"advapi32.dll"}, {"Msi", u"msi.dll"},
    {"Rtl", u"ntdll.dll"},           {"Path", u"shlwapi.dll"},
    {"SHDeleteKey", u"shlwapi.dll"}, {"SH", u"shell32.dll"},
    {"CommandLine", u"shell32.dll"}, {"CoCreate", u"ole32.dll"},
    {"CoInit", u"ole32.dll"},        {"CoUninit", u"ole32.dll"},
    {"IIDFrom", u"ole32.dll"},       {"StringFromGUID", u"ole32.dll"},
    {"Sys", u"oleaut32.dll"},        {"GetErrorInfo", u"oleaut32.dll"},
    {"Ver", u"version.dll"},         {"GetFileVersion", u"version.dll"},
    {"Message", u"user32.dll"},      {"Send", u"user32.dll"},
};

/// The library that exports a function on Windows: a small letter begins one of the C run-time.
std::u16string_view libraryOf(std::string_view function) {
    for (const auto& [start, library] : kExports) {
        if (function.starts_with(start)) {
            return library;
        }
    }
    return function >= "A" && function < "[" ? u"kernel32.dll" : u"msvcrt.dll";
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
