// COM's texts.
#pragma once

#include <windef.h>

using OLECHAR = WCHAR;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
/// A text with its length in front of it, freed by SysFreeString.
using BSTR = OLECHAR*;
