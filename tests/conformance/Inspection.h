// What tests see of the work of a call by calls that the library never makes: each machine has its
// own way.
#pragma once

#include <windows.h>
#include <tchar.h>

#include <string>
#include <utility>

using tstring = std::basic_string<TCHAR>;

/// Whether the machine is Wine. Where it differs from Windows, a test says by which page of
/// Microsoft's documentation the simulated machine was made.
bool isWine();

/// Sets a variable of the process; a null value takes it away.
void setVariable(const TCHAR* name, const TCHAR* value);

/// What a shell link's file holds.
struct SavedLink {
    tstring target;
    tstring arguments;
    tstring description;
    tstring icon;
    int iconIndex = 0;

    bool operator==(const SavedLink&) const = default;
};
SavedLink savedLink(const tstring& path);

/// The URL that an internet shortcut's file holds.
tstring savedUrl(const tstring& path);

/// The access list of a file as SDDL.
tstring accessList(const tstring& path);

/// The last move that was put off until the restart: from where, to where.
std::pair<tstring, tstring> lastDelayedMove();
