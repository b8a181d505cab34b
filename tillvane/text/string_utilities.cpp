#include <sys/time.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <tillvane/text/LStringUtilities.h>

namespace {

/// Changes each byte. The C library's functions take bytes as unsigned, which `char` need not be.
template <int (*kChange)(int)>
char* ChangeBytes(char* text) {
  for (char* at = text; *at != '\0'; ++at) *at = static_cast<char>(kChange(static_cast<unsigned char>(*at)));
  return text;
}

/// \return 0-15, or 16 for what is no digit
template <class C>
unsigned int DigitValue(C digit) {
  if (digit >= C('0') && digit <= C('9')) return static_cast<unsigned int>(digit - C('0'));
  if (digit >= C('a') && digit <= C('f')) return static_cast<unsigned int>(digit - C('a')) + 10;
  if (digit >= C('A') && digit <= C('F')) return static_cast<unsigned int>(digit - C('A')) + 10;
  return 16;
}

template <class C>
unsigned int ValueOfDigits(const C* text) {
  unsigned int value = 0;
  for (unsigned int digit; (digit = DigitValue(*text)) < 16; ++text) value = value << 4 | digit;
  return value;
}

}  // namespace

unsigned long lstrlen(const unsigned short* text) {
  const unsigned short* end = text;
  while (*end != 0) ++end;
  return static_cast<unsigned long>(end - text);
}

int wstrcmp(const wchar_t* a, const wchar_t* b) {
  for (; *a != L'\0' && *b != L'\0'; ++a, ++b) {
    if (*a != *b) return -1;
  }
  return 0;
}

int tstrcmpend(const char* text, const char* suffix) {
  const std::size_t length = std::strlen(text), of_suffix = std::strlen(suffix);
  return of_suffix > length ? -1 : std::strcmp(text + length - of_suffix, suffix);
}

char* strupr(char* text) { return ChangeBytes<std::toupper>(text); }

char* strlwr(char* text) { return ChangeBytes<std::tolower>(text); }

template <class C>
C* LStringReplaceChar(C* text, C from, C to) {
  std::replace(text, text + std::char_traits<C>::length(text), from, to);
  return text;
}

template char* LStringReplaceChar(char*, char, char);

unsigned int atoh(const char* text) { return ValueOfDigits(text); }

unsigned int wtoh(const wchar_t* text) { return ValueOfDigits(text); }

void LEndianReverse(unsigned short& value) { value = __builtin_bswap16(value); }

void LEndianReverse(unsigned int& value) { value = __builtin_bswap32(value); }

void LEndianReverse(unsigned long long& value) { value = __builtin_bswap64(value); }

void randomize() {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::srand(static_cast<unsigned int>(now.tv_sec) * 1000 + static_cast<unsigned int>(now.tv_usec / 1000));
  std::srand(static_cast<unsigned int>(std::rand()) ^ static_cast<unsigned int>(std::time(nullptr)));
}

char* LStringGenerateRandomPassword(char* out, unsigned long length) {
  randomize();
  for (unsigned long i = 0; i < length; ++i) out[i] = static_cast<char>('a' + std::rand() % 26);
  out[length] = '\0';
  return out;
}
