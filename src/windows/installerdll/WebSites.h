// The family's web sites, as the Start menu leads to them. Whoever builds the library for a real
// product gives his own by the CMake cache variables of the same names.
#pragma once

#include "common/share/tstring.h"

#ifndef NORV_SITE_NAME
#define NORV_SITE_NAME "norv.example"
#endif
#ifndef NORV_SITE_ADDRESS
#define NORV_SITE_ADDRESS "http://www.norv.example"
#endif
#ifndef NORV_DOCS_ADDRESS
#define NORV_DOCS_ADDRESS "http://docs.norv.example"
#endif

/// What the user reads as the name of the public site.
#define NORV_SITE_NAME_TEXT _T(NORV_SITE_NAME)

/// Scheme and host, without a separator at the end.
inline constexpr const TCHAR* kSiteAddress = _T(NORV_SITE_ADDRESS);
inline constexpr const TCHAR* kDocsAddress = _T(NORV_DOCS_ADDRESS);
