// COM's texts.
#pragma once

#include <windef.h>

using OLECHAR = WCHAR;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
/// A string with its length before it, freed by SysFreeString.
using BSTR = OLECHAR*;
