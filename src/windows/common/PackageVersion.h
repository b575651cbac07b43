// The version of the package that this library is built for.
#pragma once

#include "common/share/tstring.h"

inline constexpr const TCHAR* kPackageVersion = _T("21.0.12.1+1");
