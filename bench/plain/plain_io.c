#include "plain_io.h"

#include <stdio.h>
#include <stdlib.h>

unsigned char* plain_read_file(const char* path, size_t* length, size_t spare) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) return NULL;
  fseek(file, 0, SEEK_END);
  const long size = ftell(file);
  fseek(file, 0, SEEK_SET);
  unsigned char* data = size < 0 ? NULL : malloc((size_t)size + spare + 1);
  if (data != NULL && fread(data, 1, (size_t)size, file) != (size_t)size) {
    free(data);
    data = NULL;
  }
  fclose(file);
  *length = data != NULL ? (size_t)size : 0;
  return data;
}
