/* A client of the ZIP functions in C, written with nothing but the kit's header: prints each entry
 * of an archive with its content.
 *
 *   zipclient norvca.dll archive.zip
 */
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>

#include "norvca_zip.h"

static int print_entry(const norvca_zip* zip, nzfile* archive, nzentry* entry) {
    size_t size = (size_t)entry->size;
    char* content = malloc(size + 1);
    char* name = malloc((size_t)entry->nlen + 1);
    int read = zip->read_entry(archive, entry, content, name);
    if (read) {
        content[size] = '\0';
        printf("%s: %s\n", name, content);
    }
    free(content);
    free(name);
    return read;
}

int main(int argc, char** argv) {
    norvca_zip zip;
    char* message = NULL;
    nzfile* archive;
    int32_t index;
    if (argc != 3 || !norvca_zip_load(LoadLibraryA(argv[1]), &zip)) {
        puts("no library");
        return 1;
    }
    archive = zip.open(argv[2], &message);
    if (archive == NULL) {
        puts(message ? message : "no archive");
        return 1;
    }
    for (index = 0; index < archive->total; ++index) {
        if (!print_entry(&zip, archive, zip.get_next_entry(archive, index))) {
            return 1;
        }
    }
    zip.close(archive);
    return 0;
}
