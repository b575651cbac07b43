/* The ZIP library for its clients: random access to the named entries of an archive, and gzip of
 * memory. Plain C with the C calling convention; the functions are exported by these names.
 *
 * Archives and entries are plain structures that clients may read. Their layout is part of the
 * interface; nothing in them is to be changed from outside.
 *
 * Texts are UTF-8. Messages are static texts that nobody frees. Nothing is thrown.
 */
#ifndef NORVCA_ZIP_H
#define NORVCA_ZIP_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One entry of an archive, as it is handed to a client. */
typedef struct nzentry {
    char* name;    /* NUL-terminated */
    int64_t time;  /* DOS date and time, as they stand in the archive */
    int64_t size;  /* uncompressed */
    int64_t csize; /* compressed; 0 for a stored entry */
    int64_t crc;   /* CRC-32 */
    char* comment; /* NUL-terminated, or null */
    char* extra;   /* the extra field behind its length in two bytes, low byte first; or null */
    int64_t pos;   /* of the data if positive; else minus the position of the local header */
    int32_t flag;  /* general-purpose flags */
    int32_t nlen;  /* length of `name` */
} nzentry;

/* One entry of the central directory, as it stands in the hash table. */
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
    int64_t locpos;      /* length of whatever stands in front of the archive */
} nzfile;

/* Opens an archive, or counts one more use of it if it is open under the same name. Null on failure
 * with `*message` set, or null where there is nothing to say: no archive, no memory. Without
 * `message` only an archive that is open already is found. The first call of a process must not
 * run beside another. */
nzfile* ZIP_Open(const char* name, char** message);

/* Gives back one use of an archive; the last one closes it. */
void ZIP_Close(nzfile* zip);

/* The entry of exactly this name, or null. When found, sets its size and the length of its name.
 * The entry is the caller's until ZIP_ReadEntry has succeeded with it. */
nzentry* ZIP_FindEntry(nzfile* zip, const char* name, int32_t* size, int32_t* nameLength);

/* The entry of a place in the directory, or null outside 0 to `total` - 1; the caller's as above.
 */
nzentry* ZIP_GetNextEntry(nzfile* zip, int32_t index);

/* Reads an entry: `size` bytes to `buffer`, the name and a NUL to `nameBuffer`. 1 on success, which
 * takes the entry back; 0 on failure, with a line to stderr, and the entry stays the caller's. */
int32_t ZIP_ReadEntry(nzfile* zip, nzentry* entry, char* buffer, char* nameBuffer);

/* Inflates data of the zlib format that makes exactly `outLength` bytes. 1 on success, else 0;
 * `*message` becomes null or the reason. */
int32_t ZIP_InflateFully(void* in, int64_t inLength, void* out, int64_t outLength, char** message);

/* What ZIP_GZip_Fully needs for input of a length: the most bytes of output without a comment, and
 * the bytes of working memory. Levels are zlib's; one above 9 means the default. Null, or a
 * message. */
char* ZIP_GZip_InitParams(size_t inLength, size_t* outLength, size_t* tmpLength, int32_t level);

/* Compresses to one gzip member, with no memory but `tmp`, which is aligned as by malloc. `comment`
 * goes into its header unless null. The compressed length, or 0 with `*message` set. */
size_t ZIP_GZip_Fully(void* in, size_t inLength, void* out, size_t outLength, void* tmp,
                      size_t tmpLength, int32_t level, char* comment, const char** message);

/* A compiler that lays the structures out otherwise must not go on. */
#define NZ_HOLDS(name, in64, in32, is) \
    typedef char nz_##name##_has_moved[(is) == (sizeof(void*) == 8 ? (in64) : (in32)) ? 1 : -1]
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
#undef NZ_AT
#undef NZ_SIZE

#ifdef __cplusplus
}
#endif

#endif
