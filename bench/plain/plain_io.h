/* Whole-file reading for the plain reference programs. */
#ifndef PLAIN_IO_H
#define PLAIN_IO_H

#include <stddef.h>

/* Reads the file at path into a new buffer with `spare` writable bytes after its end; sets
 * *length. NULL when the file cannot be read. */
unsigned char* plain_read_file(const char* path, size_t* length, size_t spare);

#endif
