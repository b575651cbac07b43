// Control codes for the reparse point of a file or directory.
#pragma once

#include <ioapiset.h>

#define FSCTL_SET_REPARSE_POINT 0x900A4u
#define FSCTL_GET_REPARSE_POINT 0x900A8u
