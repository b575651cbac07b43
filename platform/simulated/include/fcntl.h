// The host's header, and the open flags of Windows' C run-time beside it.
#pragma once

#include_next <fcntl.h>

#define _O_WRONLY 0x0001
#define _O_APPEND 0x0008
#define _O_CREAT 0x0100
