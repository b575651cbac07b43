// The family's web sites, which the Start menu links to. A build for a real product sets them by
// the CMake cache variables of the same names.
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

/// The name of the public site, as the user reads it.
#define NORV_SITE_NAME_TEXT _T(NORV_SITE_NAME)

/// Scheme and host, without a trailing slash.
inline constexpr const TCHAR* kSiteAddress = _T(NORV_SITE_ADDRESS);
inline constexpr const TCHAR* kDocsAddress = _T(NORV_DOCS_ADDRESS);
