#include <tillvane/files/LFile.h>

int LFileIsLetterOrNumber(char character) {
  const bool is_letter = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
  return is_letter || (character >= '0' && character <= '9') ? 1 : 0;
}
