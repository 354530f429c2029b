// wtg_encode_fun as a program, so that the tool's pcm2wtg output can be compared with the file
// encoder's own on the same file (both start from a fresh process's codec memories).
// Usage: wtg_encode_file PCM WTG
#include "kestrune/wtg_encode.h"

int main(int argc, char** argv) {
  return argc == 3 ? wtg_encode_fun(argv[1], argv[2]) : 2;
}
