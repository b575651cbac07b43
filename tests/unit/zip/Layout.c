/* The interface as C sees it: it holds the layout of its structures, which other programs walk.
 * Compiled in each build, for 64 and for 32 bits. */
#include "zip/zip.h"
