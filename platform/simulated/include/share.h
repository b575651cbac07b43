// Share modes of Windows' C run-time.
#pragma once

#define _SH_DENYWR 0x20
