// The names of Windows' generic text: here a TCHAR is always a WCHAR, as with UNICODE on Windows.
#pragma once

#include <windef.h>

using TCHAR = WCHAR;
#define __T(text) u##text
#define _T(text) __T(text)
