/* The public API of the ZIP library: random access to the named entries of an archive, and gzip of
 * memory. Plain C with the C calling convention; the functions are exported by these names, and
 * norvca_zip_load fills a table of them.
 *
 * Archives and entries are plain structures that clients may read and must not change. Their layout
 * is part of the interface.
 *
 * Strings are UTF-8. Messages are static strings that nobody frees. Nothing is thrown.
 *
 * Threads: the first ZIP_Open of a process must return before any other function is called. After
 * that every function may be called on every thread.
 *
 * Memory: a successful ZIP_ReadEntry releases its entry; the pointer must not be used again. No
 * other function releases an entry. A client that lists names without reading keeps the memory of
 * each entry, some hundred bytes, until the process ends: ZIP_Close does not free it. The fields of
 * such an entry stay readable after ZIP_Close; reading its content needs the open archive.
 */
#ifndef NORVCA_ZIP_H
#define NORVCA_ZIP_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One entry of an archive. */
typedef struct nzentry {
    char* name;    /* NUL-terminated */
    int64_t time;  /* DOS date and time, as stored in the archive */
    int64_t size;  /* uncompressed */
    int64_t csize; /* compressed; 0 for a stored entry */
    int64_t crc;   /* CRC-32 */
    char* comment; /* NUL-terminated, or null */
    char* extra;   /* two bytes of length, low byte first, then the extra field; or null */
    int64_t pos;   /* of the data if positive; else minus the position of the local header */
    int32_t flag;  /* general-purpose flags */
    int32_t nlen;  /* length of `name` */
} nzentry;

/* One entry of the central directory, in the hash table. */
typedef struct nzcell {
    uint32_t hash;  /* of the name: h = h * 31 + c over its signed characters */
    int32_t next;   /* index of the next cell of the chain, or -1 */
    int64_t cenpos; /* file position of the entry's central header */
} nzcell;

/* One open archive, shared by all who opened it. */
typedef struct nzfile {
    char* name;          /* as given to ZIP_Open */
    int32_t refs;        /* opens that have not been closed */
    int64_t len;         /* of the file */
    char* cencacheData;  /* central headers read ahead by ZIP_GetNextEntry, or null */
    int64_t cencachePos; /* their file position */
    void* zfd;           /* HANDLE of the file, or INVALID_HANDLE_VALUE */
    void* lock;          /* CRITICAL_SECTION*: guards `cache`, `msg`, both fields above and the
                            file's position */
    char* comment;       /* of the archive, NUL-terminated, or null */
    int32_t clen;        /* length of `comment` */
    const char* msg;     /* text of the last failure, or null */
    nzcell* entries;     /* one cell for each entry, in the order of the directory */
    int32_t total;       /* number of entries */
    int32_t* table;      /* heads of the chains: indices into `entries`, or -1 */
    int32_t tablelen;    /* slots of `table` */
    struct nzfile* next; /* in the list of open archives */
    nzentry* cache;      /* the entry released last, or null */
    char** metanames;    /* names of the entries below "META-INF/", in any case of letters */
    int32_t metacurrent; /* names in `metanames` */
    int32_t metacount;   /* slots of `metanames` */
    int64_t locpos;      /* length of what precedes the archive in the file */
} nzfile;

/* Returns the archive of this name: opens the file, or adds one use if it is open under the same
 * name. Returns null on failure, with `*message` set, or with null in it where the file is no
 * archive or no memory is left. Without `message` only an archive that is open already is returned.
 */
nzfile* ZIP_Open(const char* name, char** message);

/* Ends one use of an archive. The last one closes the file and frees the archive, without its
 * entries (see "Memory" above). */
void ZIP_Close(nzfile* zip);

/* Returns the entry of exactly this name, or null. If it is found, stores its size, of which
 * `*size` holds the low 32 bits only (`entry->size` has all 64), and the length of its name. */
nzentry* ZIP_FindEntry(nzfile* zip, const char* name, int32_t* size, int32_t* nameLength);

/* Returns the entry at a position of the directory, or null outside 0 to `total` - 1. */
nzentry* ZIP_GetNextEntry(nzfile* zip, int32_t index);

/* Reads an entry: `size` bytes to `buffer`, the name and a NUL to `nameBuffer`. Returns 1 on
 * success, which releases the entry. Returns 0 on failure, with a line to stderr, and the entry is
 * not released. */
int32_t ZIP_ReadEntry(nzfile* zip, nzentry* entry, char* buffer, char* nameBuffer);

/* Inflates data of the zlib format that yields exactly `outLength` bytes. Returns 1 on success,
 * else 0; stores null or the reason in `*message`. */
int32_t ZIP_InflateFully(void* in, int64_t inLength, void* out, int64_t outLength, char** message);

/* Stores what ZIP_GZip_Fully needs for input of a length: the most bytes of output without a
 * comment, and the bytes of working memory. Levels are zlib's; one above 9 means the default.
 * Returns null, or a message. */
char* ZIP_GZip_InitParams(size_t inLength, size_t* outLength, size_t* tmpLength, int32_t level);

/* Compresses to one gzip member, with no memory but `tmp`, which is aligned as by malloc. A
 * `comment` that isn't null is stored in its header. Returns the compressed length, or 0 with
 * `*message` set. */
size_t ZIP_GZip_Fully(void* in, size_t inLength, void* out, size_t outLength, void* tmp,
                      size_t tmpLength, int32_t level, char* comment, const char** message);

/* Types of the functions, for GetProcAddress. */
typedef nzfile* (*norvca_zip_open_fn)(const char*, char**);
typedef void (*norvca_zip_close_fn)(nzfile*);
typedef nzentry* (*norvca_zip_find_entry_fn)(nzfile*, const char*, int32_t*, int32_t*);
typedef nzentry* (*norvca_zip_get_next_entry_fn)(nzfile*, int32_t);
typedef int32_t (*norvca_zip_read_entry_fn)(nzfile*, nzentry*, char*, char*);
typedef int32_t (*norvca_zip_inflate_fully_fn)(void*, int64_t, void*, int64_t, char**);
typedef char* (*norvca_zip_gzip_init_params_fn)(size_t, size_t*, size_t*, int32_t);
typedef size_t (*norvca_zip_gzip_fully_fn)(void*, size_t, void*, size_t, void*, size_t, int32_t,
                                           char*, const char**);

typedef struct norvca_zip {
    norvca_zip_open_fn open;
    norvca_zip_close_fn close;
    norvca_zip_find_entry_fn find_entry;
    norvca_zip_get_next_entry_fn get_next_entry;
    norvca_zip_read_entry_fn read_entry;
    norvca_zip_inflate_fully_fn inflate_fully;
    norvca_zip_gzip_init_params_fn gzip_init_params;
    norvca_zip_gzip_fully_fn gzip_fully;
} norvca_zip;

/* For a client that has included <windows.h> before: fills a table from a loaded library. Returns
 * 1, or 0 if the library lacks one of the functions. The library must stay loaded while the table
 * is used. */
#ifdef _WINDOWS_
static __inline int norvca_zip_load(HMODULE library, norvca_zip* table) {
    static const char* const kNames[] = {
        "ZIP_Open",      "ZIP_Close",        "ZIP_FindEntry",       "ZIP_GetNextEntry",
        "ZIP_ReadEntry", "ZIP_InflateFully", "ZIP_GZip_InitParams", "ZIP_GZip_Fully"};
    size_t i;
    for (i = 0; i < sizeof(kNames) / sizeof(kNames[0]); ++i) {
        FARPROC function = GetProcAddress(library, kNames[i]);
        if (function == NULL) {
            return 0;
        }
        memcpy((char*)table + i * sizeof(function), &function, sizeof(function));
    }
    return 1;
}
#endif

/* Stops a compiler that lays out the structures differently. */
#define NZ_FITS(pointer, expected, is) (sizeof(void*) != (pointer) || (is) == (expected))
#define NZ_HOLDS(name, in64, in32, is) \
    typedef char nz_##name##_has_moved[NZ_FITS(8, in64, is) && NZ_FITS(4, in32, is) ? 1 : -1]
#define NZ_AT(type, field, in64, in32) NZ_HOLDS(type##_##field, in64, in32, offsetof(type, field))
#define NZ_SIZE(type, in64, in32) NZ_HOLDS(type, in64, in32, sizeof(type))

NZ_AT(nzfile, name, 0, 0);
NZ_AT(nzfile, refs, 8, 4);
NZ_AT(nzfile, len, 16, 8);
NZ_AT(nzfile, cencacheData, 24, 16);
NZ_AT(nzfile, cencachePos, 32, 24);
NZ_AT(nzfile, zfd, 40, 32);
NZ_AT(nzfile, lock, 48, 36);
NZ_AT(nzfile, comment, 56, 40);
NZ_AT(nzfile, clen, 64, 44);
NZ_AT(nzfile, msg, 72, 48);
NZ_AT(nzfile, entries, 80, 52);
NZ_AT(nzfile, total, 88, 56);
NZ_AT(nzfile, table, 96, 60);
NZ_AT(nzfile, tablelen, 104, 64);
NZ_AT(nzfile, next, 112, 68);
NZ_AT(nzfile, cache, 120, 72);
NZ_AT(nzfile, metanames, 128, 76);
NZ_AT(nzfile, metacurrent, 136, 80);
NZ_AT(nzfile, metacount, 140, 84);
NZ_AT(nzfile, locpos, 144, 88);
NZ_SIZE(nzfile, 152, 96);

NZ_AT(nzcell, hash, 0, 0);
NZ_AT(nzcell, next, 4, 4);
NZ_AT(nzcell, cenpos, 8, 8);
NZ_SIZE(nzcell, 16, 16);

NZ_AT(nzentry, name, 0, 0);
NZ_AT(nzentry, time, 8, 8);
NZ_AT(nzentry, size, 16, 16);
NZ_AT(nzentry, csize, 24, 24);
NZ_AT(nzentry, crc, 32, 32);
NZ_AT(nzentry, comment, 40, 40);
NZ_AT(nzentry, extra, 48, 44);
NZ_AT(nzentry, pos, 56, 48);
NZ_AT(nzentry, flag, 64, 56);
NZ_AT(nzentry, nlen, 68, 60);
NZ_SIZE(nzentry, 72, 64);

#undef NZ_HOLDS
#undef NZ_FITS
#undef NZ_AT
#undef NZ_SIZE

#ifdef __cplusplus
}
#endif

#endif
