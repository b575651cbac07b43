// The Windows interface of the simulated machine, in place of the SDK's header of this name. It
// declares what the library calls and what tests of the machine need, no more; the behaviour is
// Microsoft's documentation's.
#pragma once

#include <windef.h>
#include <winerror.h>
#include <tchar.h>
#include <winbase.h>
#include <fileapi.h>
#include <ioapiset.h>
#include <winver.h>
#include <winnls.h>
#include <winreg.h>
#include <winnt.h>
#include <winuser.h>
