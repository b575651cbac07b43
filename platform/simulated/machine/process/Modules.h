// The libraries of Windows, what they export, and the texts in them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <windef.h>

#include "simulated/machine/Names.h"

namespace simulated {

struct Facts;

/// One library of the system directory, the program, or the product's library.
struct Module {
    std::u16string fileName;  ///< "kernel32.dll"; the full path for the program and the product
    bool hidden = false;
    bool alwaysLoaded = false;
    std::set<std::string> hiddenFunctions;
    std::map<std::uint32_t, std::u16string> strings;        ///< string resources by id
    std::map<std::uint32_t, std::u16string> messages;       ///< message table
    std::vector<HANDLE> references;                         ///< open handles, one a LoadLibrary
    std::vector<HANDLE> dataReferences;                     ///< the same of those loaded as data
    std::map<std::uint16_t, std::vector<char16_t>> blocks;  ///< string blocks handed out

    bool isLoaded() const { return !hidden && (alwaysLoaded || !references.empty()); }
};

/// Names of libraries are compared without case and may omit their ".dll".
class Modules {
public:
    Modules();

    /// Hides a library, as if Windows were too old for it: loading it fails with 126.
    void hideModule(std::u16string_view library);
    /// Hides one export: GetProcAddress fails with 127.
    void hideFunction(std::u16string_view library, std::string_view function);
    /// Adds or replaces a string resource; an empty one removes it.
    void setString(std::u16string_view library, std::uint32_t id, std::u16string_view text);
    /// Adds or replaces a message of a library's message table.
    void setMessage(std::u16string_view library, std::uint32_t id, std::u16string_view text);

    // For the functions that serve the process.

    /// The library of that file name, or null; hidden ones too.
    Module* find(std::u16string_view fileName);
    /// The library that a function of Windows belongs to.
    Module& ownerOf(std::string_view function);
    Module& program() { return program_; }
    Module& product() { return product_; }
    /// The text of a system status, or null.
    const std::u16string* systemMessage(std::uint32_t id) const;
    /// A loaded module by its handle, whether of code or of data; null for what is none. A null
    /// handle is the program's.
    Module* fromHandle(HMODULE handle);
    /// What LoadLibraryW with LOAD_LIBRARY_AS_DATAFILE gives differs from the other in one bit.
    static HMODULE handleOf(const Module& module, bool asData = false);
    static bool isDataHandle(HMODULE handle);
    std::u16string path(const Module& module, const Facts& facts) const;
    void endProcess();

private:
    NameMap<std::unique_ptr<Module>> libraries_;
    std::map<std::uint32_t, std::u16string> systemMessages_;
    Module program_;
    Module product_;
};

}  // namespace simulated
