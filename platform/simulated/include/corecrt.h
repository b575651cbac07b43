// Types that the headers of Windows' C run-time share.
#pragma once

typedef int errno_t;
