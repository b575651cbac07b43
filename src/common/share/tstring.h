// The native string: UTF-16 code units, as Windows' wide functions take them.
#pragma once

#include <windows.h>
#include <tchar.h>

#include <string>

using tstring = std::basic_string<TCHAR>;
