/* The structures of the interface as C sees them: other programs walk them, so no field may move.
 * Compiled in each build, for 64 and for 32 bits. */
#include "zip/zip.h"

#define AT(type, field, in64, in32)                                                   \
    _Static_assert(offsetof(type, field) == (sizeof(void*) == 8 ? (in64) : (in32)), \
                   #type "." #field " has moved")
#define SIZE(type, in64, in32) \
    _Static_assert(sizeof(type) == (sizeof(void*) == 8 ? (in64) : (in32)), #type " has grown")

AT(nzfile, name, 0, 0);
AT(nzfile, refs, 8, 4);
AT(nzfile, len, 16, 8);
AT(nzfile, cencacheData, 24, 16);
AT(nzfile, cencachePos, 32, 24);
AT(nzfile, zfd, 40, 32);
AT(nzfile, lock, 48, 36);
AT(nzfile, comment, 56, 40);
AT(nzfile, clen, 64, 44);
AT(nzfile, msg, 72, 48);
AT(nzfile, entries, 80, 52);
AT(nzfile, total, 88, 56);
AT(nzfile, table, 96, 60);
AT(nzfile, tablelen, 104, 64);
AT(nzfile, next, 112, 68);
AT(nzfile, cache, 120, 72);
AT(nzfile, metanames, 128, 76);
AT(nzfile, metacurrent, 136, 80);
AT(nzfile, metacount, 140, 84);
AT(nzfile, locpos, 144, 88);
SIZE(nzfile, 152, 96);

AT(nzcell, hash, 0, 0);
AT(nzcell, next, 4, 4);
AT(nzcell, cenpos, 8, 8);
SIZE(nzcell, 16, 16);

AT(nzentry, name, 0, 0);
AT(nzentry, time, 8, 8);
AT(nzentry, size, 16, 16);
AT(nzentry, csize, 24, 24);
AT(nzentry, crc, 32, 32);
AT(nzentry, comment, 40, 40);
AT(nzentry, extra, 48, 44);
AT(nzentry, pos, 56, 48);
AT(nzentry, flag, 64, 56);
AT(nzentry, nlen, 68, 60);
SIZE(nzentry, 72, 64);
